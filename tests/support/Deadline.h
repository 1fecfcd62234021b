#pragma once

#include <chrono>

namespace test {

/// How long a test waits for something that should happen at once. Long: it is only used up by a test that fails.
/// Longer still where the build says so: an emulator is slow.
constexpr std::chrono::seconds patience{20 * CORVALUX_TEST_TIME_SCALE};

/// The module runs in an emulator; clients that are no part of a test program do not, and outrun it.
constexpr bool emulated = CORVALUX_EMULATED;

/// What a stop may take, whatever clients do: the bounded waits of the two services, each of which may oversleep by one
/// step, and a second for all the rest.
constexpr std::chrono::milliseconds stopLimit = 2 * std::chrono::milliseconds(2050) + std::chrono::seconds(1);

}  // namespace test
