#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "sim/Log.h"

namespace bench {

/// Waits for a line of the module's log. Owns the log for its lifetime.
class LogWatch {
 public:
  explicit LogWatch(std::string part) : part(std::move(part)) {
    sim::setLogSink([this](const sim::LogLine& line) { See(line); });
  }
  ~LogWatch() { sim::setLogSink({}); }
  LogWatch(const LogWatch&) = delete;
  LogWatch& operator=(const LogWatch&) = delete;

  /// Returns once a line with the part has been logged; throws std::runtime_error after 20 s.
  void Await() {
    std::unique_lock lock(mutex);
    if (!logged.wait_for(lock, std::chrono::seconds(20), [this] { return seen; })) {
      throw std::runtime_error("never logged: " + part);
    }
  }

 private:
  void See(const sim::LogLine& line) {
    if (line.text.find(part) == std::string::npos) return;
    const std::lock_guard lock(mutex);
    seen = true;
    logged.notify_all();
  }

  const std::string part;
  std::mutex mutex;
  std::condition_variable logged;
  bool seen = false;  // guarded by mutex
};

}  // namespace bench
