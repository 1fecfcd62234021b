#pragma once

#include <chrono>

namespace test {

/// How long `action` takes.
template <typename Action>
std::chrono::nanoseconds timeOf(const Action& action) {
  const auto begin = std::chrono::steady_clock::now();
  action();
  return std::chrono::steady_clock::now() - begin;
}

}  // namespace test
