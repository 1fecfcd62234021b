#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace sim {

/// A thread that calls a function at a steady pace from its creation to its destruction. Beats that were missed,
/// because the function took too long, are skipped, not made up for.
class Ticker {
 public:
  Ticker(std::chrono::nanoseconds period, std::function<void()> tick);

 private:
  std::jthread thread;
};

}  // namespace sim
