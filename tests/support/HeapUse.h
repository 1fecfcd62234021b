#pragma once

#include <cstddef>

namespace test {

/// What the current thread has taken from the heap and given back so far, by new and delete.
struct HeapUse {
  std::size_t taken = 0;
  std::size_t given = 0;

  std::size_t Live() const { return taken - given; }
};

/// For programs that are built with HeapUse.cpp.
HeapUse heapUse();

/// Sets what is called with each block that the current thread gives back; null for nothing. Blocks that are given back
/// within such a call are left out.
void setOnGiven(void (*onGiven)(const void* block));

}  // namespace test
