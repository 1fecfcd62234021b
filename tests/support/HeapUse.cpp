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

void test::setOnGiven(void (*onGiven)(const void* block)) { observer = onGiven; }

void* operator new(std::size_t size) {
  ++use.taken;
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}

// A sanitizer's own version would not come here.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  ++use.taken;
  return std::malloc(size == 0 ? 1 : size);
}

void operator delete(void* memory) noexcept {
  if (!memory) return;
  ++use.given;
  if (auto* const call = std::exchange(observer, nullptr)) {
    call(memory);
    observer = call;
  }
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept { operator delete(memory); }
