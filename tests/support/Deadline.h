#pragma once

#include <chrono>

namespace test {

/// How long a test waits for something that should happen at once. Long, because only a test that fails uses it up; the
/// build makes it longer for an emulator, which is slow.
constexpr std::chrono::seconds patience{20 * CORVALUX_TEST_TIME_SCALE};

/// Whether the module runs in an emulator. Clients that are programs of their own do not, and outrun it.
constexpr bool emulated = CORVALUX_EMULATED;

/// What a stop may take, whatever clients do: the waits of the two services, each of which may be one step too long,
/// and a second for all the rest.
constexpr std::chrono::milliseconds stopLimit = 2 * std::chrono::milliseconds(2050) + std::chrono::seconds(1);

}  // namespace test
