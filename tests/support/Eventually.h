#pragma once

#include <chrono>
#include <functional>
#include <thread>

#include "support/Deadline.h"

namespace test {

/// Polls until `condition` holds; false when it does not in time.
inline bool eventually(const std::function<bool()>& condition, std::chrono::nanoseconds limit = patience) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace test
