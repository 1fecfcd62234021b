#pragma once

#include <cstddef>
#include <cstdint>

namespace corvalux::gateway {

/// What the gateway takes from one device.
struct DeviceLimits {
  std::size_t frameBytes = 4UL << 20;  ///< of a message, a larger one is dropped; and of all changes that are kept
  std::size_t keys = 20'000;           ///< that are kept, of all streams; further ones are dropped
  std::size_t keyBytes = 1'024;        ///< of a key; an entry with a longer one is dropped
};

/// How often a limit was exceeded.
struct Exceeded {
  uint64_t frames = 0;  ///< messages
  uint64_t keys = 0;    ///< entries that were dropped, for their number or their bytes
  uint64_t longKeys = 0;
};

}  // namespace corvalux::gateway
