#pragma once

#include <chrono>
#include <ctime>

namespace corvalux::gateway {

/// Monotonic, and goes on while the machine sleeps: what lay there meanwhile is old.
struct FleetClock {
  using duration = std::chrono::nanoseconds;
  using rep = duration::rep;
  using period = duration::period;
  using time_point = std::chrono::time_point<FleetClock>;
  static constexpr bool is_steady = true;

  static time_point now() noexcept {
    timespec time{};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return time_point(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
  }
};

}  // namespace corvalux::gateway
