#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "gateway/devices/Picture.h"
#include "gateway/keys/Patterns.h"

namespace corvalux::gateway {

/// The entries of a device's frames that a choice of keys takes. Looks at keys only when they have changed.
/// Threads: one at a time. Of one device only.
class Choice {
 public:
  explicit Choice(Patterns patterns) : patterns(std::move(patterns)) {}

  const Patterns& Keys() const { return patterns; }
  /// Places in the frame's list of entries, ascending.
  const std::vector<std::size_t>& In(const Frame& frame);

 private:
  struct Places {
    uint64_t layout = 0;
    std::vector<std::size_t> places;
  };

  const Patterns patterns;
  std::array<Places, 2> known;
};

}  // namespace corvalux::gateway
