// Replaces the program's operator new and delete, also for the libraries that it uses.
#include "unit/HeapUse.h"

#include <cstdlib>
#include <new>

namespace {

thread_local test::HeapUse use;

}  // namespace

test::HeapUse test::heapUse() { return use; }

void* operator new(std::size_t size) {
  ++use.taken;
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
  if (!memory) return;
  ++use.given;
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept { operator delete(memory); }
