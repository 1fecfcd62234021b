#pragma once

#include <cstddef>

namespace test {

/// How many blocks the current thread has allocated and freed so far, by new and delete.
struct HeapUse {
  std::size_t allocated = 0;
  std::size_t freed = 0;

  std::size_t Live() const { return allocated - freed; }
};

/// For programs that are built with HeapUse.cpp.
HeapUse heapUse();

/// Sets what is called with each block that the current thread frees; null for nothing. Blocks freed within such a call
/// are left out.
void setOnFree(void (*onFree)(const void* block));

}  // namespace test
