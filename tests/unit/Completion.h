#pragma once

#include <unistd.h>

#include <fstream>
#include <functional>
#include <future>
#include <string>
#include <thread>

#include "support/Deadline.h"
#include "support/Eventually.h"

namespace test {

/// A thread of the library on which a completed write is handled, or anything else that may wait for a hand-out.
class Completion {
 public:
  explicit Completion(std::function<void()> handle) {
    std::promise<pid_t> begun;
    id = begun.get_future();
    handled = std::async(std::launch::async, [handle = std::move(handle), begun = std::move(begun)]() mutable {
      begun.set_value(gettid());
      handle();
    });
  }

  /// Whether it sleeps before it is done.
  bool Waits() {
    const std::string file = "/proc/self/task/" + std::to_string(id.get()) + "/stat";
    const auto asleep = [&file] {
      std::string number, name, state;
      return std::ifstream(file) >> number >> name >> state && state == "S";
    };
    return eventually([&] { return Handled(0) || asleep(); }) && !Handled(0);
  }

  bool Passes() const { return Handled(patience.count()); }

 private:
  bool Handled(int64_t seconds) const {
    return handled.wait_for(std::chrono::seconds(seconds)) == std::future_status::ready;
  }

  std::future<pid_t> id;
  std::future<void> handled;  // last: its destructor waits
};

}  // namespace test
