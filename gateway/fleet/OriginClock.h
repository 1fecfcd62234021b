#pragma once

#include <chrono>
#include <limits>

#include "gateway/fleet/FleetClock.h"

namespace corvalux::gateway {

/// How long messages of an origin lay somewhere on their way, though its clock is another one than ours: the least
/// difference of both over the last time is the clocks', and what is above it is waiting.
/// Threads: one at a time.
class OriginClock {
 public:
  using Seconds = std::chrono::duration<double>;
  using Time = FleetClock::time_point;

  /// Clocks drift: an older difference no longer counts.
  static constexpr std::chrono::seconds window{60};

  /// Of a message with this clock that comes now.
  Seconds Lateness(double clock, Time now);

  Time Heard() const { return heard; }

 private:
  static constexpr double none = std::numeric_limits<double>::infinity();

  Time begun;
  Time heard;
  double least = none;   ///< since `begun`
  double former = none;  ///< of the window before
};

}  // namespace corvalux::gateway
