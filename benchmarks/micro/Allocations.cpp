#include "micro/Allocations.h"

#include <atomic>
#include <cerrno>

// The C library's own functions, by the names that it exports for programs that replace the public ones.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace bench {

namespace {

constinit std::atomic<std::size_t> count = 0;

void countOne() { count.fetch_add(1, std::memory_order_relaxed); }

}  // namespace

std::size_t allocations() { return count.load(std::memory_order_relaxed); }

}  // namespace bench

extern "C" {

void* malloc(std::size_t size) {
  bench::countOne();
  return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
  bench::countOne();
  return __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) {
  bench::countOne();
  return __libc_realloc(block, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  bench::countOne();
  return __libc_memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  bench::countOne();
  *block = __libc_memalign(alignment, size);
  return *block ? 0 : ENOMEM;
}

}  // extern "C"
