#pragma once

#include <algorithm>
#include <chrono>

#include "gateway/fleet/FleetClock.h"

namespace corvalux::gateway {

/// So many a second, with bursts. What was more is paid back first.
/// Threads: one at a time.
class Allowance {
 public:
  Allowance(double perSecond, double burst) : perSecond(perSecond), burst(burst), left(burst) {}

  bool Any(FleetClock::time_point now) {
    left = std::min(burst, left + std::chrono::duration<double>(now - renewed).count() * perSecond);
    renewed = now;
    return left > 0;
  }
  void Use(double count) { left -= count; }

 private:
  const double perSecond;
  const double burst;
  double left;
  FleetClock::time_point renewed;
};

}  // namespace corvalux::gateway
