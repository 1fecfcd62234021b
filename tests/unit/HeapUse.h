#pragma once

#include <cstddef>

namespace test {

/// What the current thread has taken from the heap and given back so far, by new and delete.
struct HeapUse {
  std::size_t taken = 0;
  std::size_t given = 0;

  std::size_t Live() const { return taken - given; }
};

HeapUse heapUse();

}  // namespace test
