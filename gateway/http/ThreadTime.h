#pragma once

#include <time.h>

#include <chrono>

namespace corvalux::gateway {

/// What this thread has worked: a machine that is busy with something else is not the client's doing.
inline std::chrono::nanoseconds threadTime() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

}  // namespace corvalux::gateway
