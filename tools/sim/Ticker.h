#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace sim {

/// A thread that calls a function at a steady pace for its lifetime. Ticks that were missed, because the function took
/// too long, are skipped.
class Ticker {
 public:
  Ticker(std::chrono::nanoseconds period, std::function<void()> tick);

 private:
  std::jthread thread;
};

}  // namespace sim
