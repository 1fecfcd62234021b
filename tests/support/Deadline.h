#pragma once

#include <chrono>

namespace test {

/// How long a test waits for something that should happen at once. Long: it is only used up by a test that fails.
/// Longer still where the build says so: an emulator is slow.
constexpr std::chrono::seconds patience{20 * CORVALUX_TEST_TIME_SCALE};

}  // namespace test
