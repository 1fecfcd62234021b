#pragma once

#include <cstddef>
#include <ostream>

namespace test {

/// What this process holds now.
struct ProcessUse {
  std::size_t descriptors;
  std::size_t threads;
  std::size_t heapKb;      ///< allocated and not freed; what the allocator merely keeps does not count
  std::size_t residentKb;  ///< of all memory; an emulator's, for translated code, included

  static ProcessUse Now();
};

std::ostream& operator<<(std::ostream& out, const ProcessUse& use);

}  // namespace test
