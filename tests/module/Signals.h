#pragma once

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <optional>

#include "sim/Ticker.h"

namespace test {

/// Disturbs the thread that creates it, once a period, with a signal that ends system calls. One at a time in a
/// process.
class Signals {
 public:
  explicit Signals(std::chrono::milliseconds period) : target(pthread_self()) {
    count = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { ++count; };
    sigaction(SIGUSR1, &action, &before);  // without SA_RESTART
    sender.emplace(period, [this] { pthread_kill(target, SIGUSR1); });
  }
  ~Signals() {
    sender.reset();
    sigaction(SIGUSR1, &before, nullptr);
  }
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  /// How many the thread has handled.
  int Count() const { return count; }

 private:
  static inline std::atomic<int> count = 0;
  const pthread_t target;
  struct sigaction before {};
  std::optional<sim::Ticker> sender;
};

}  // namespace test
