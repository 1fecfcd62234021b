#pragma once

#include <cstddef>
#include <cstdint>

namespace corvalux::gateway {

/// What the gateway knows of its viewers.
struct LiveCounts {
  std::size_t viewers = 0;
  uint64_t updates = 0;  ///< sent
  uint64_t merged = 0;   ///< messages that were merged into others
};

}  // namespace corvalux::gateway
