#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <string>

#include "gateway/devices/Choice.h"

namespace corvalux::gateway {

/// The least and the greatest level of some keys over the last time, in steps of a second.
/// Threads: one at a time.
class LevelWindow {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr std::size_t keysLimit = 2000;  ///< at a time; further keys are left out

  struct Range {
    double least = 0;
    double greatest = 0;
  };

  /// No patterns: no keys.
  LevelWindow(Patterns patterns, std::chrono::seconds span) : choice(std::move(patterns)), span(span) {}

  void Take(const Frame& frame);
  /// Of the keys that had a number within the window before `now`.
  std::map<std::string, Range> Ranges(Clock::time_point now) const;

 private:
  struct Step {
    Clock::time_point second;
    Range range;
  };

  void Forget(Clock::time_point now);

  Choice choice;
  const std::chrono::seconds span;
  Clock::time_point swept;
  std::map<std::string, std::deque<Step>> levels;
};

}  // namespace corvalux::gateway
