// Replaces the program's operator new and delete, also for the libraries that it uses.
#include "support/HeapUse.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace {

thread_local test::HeapUse use;
thread_local void (*observer)(const void* block) = nullptr;

}  // namespace

test::HeapUse test::heapUse() { return use; }

void test::setOnFree(void (*onFree)(const void* block)) { observer = onFree; }

void* operator new(std::size_t size) {
  ++use.allocated;
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}

// A sanitizer's own version would not come here.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  ++use.allocated;
  return std::malloc(size == 0 ? 1 : size);
}

void operator delete(void* memory) noexcept {
  if (!memory) return;
  ++use.freed;
  if (auto* const call = std::exchange(observer, nullptr)) {
    call(memory);
    observer = call;
  }
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept { operator delete(memory); }
