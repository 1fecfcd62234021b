#include "support/ProcessUse.h"

#include <malloc.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

/// A sanitizer's own account; null without one.
extern "C" [[gnu::weak]] std::size_t __sanitizer_get_current_allocated_bytes();

namespace test {

namespace {

std::size_t entriesOf(const char* folder) {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

std::size_t allocatedBytes() {
  if (__sanitizer_get_current_allocated_bytes) return __sanitizer_get_current_allocated_bytes();
  const auto heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

std::size_t residentBytes() {
  std::ifstream statm("/proc/self/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  statm >> total >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace

ProcessUse ProcessUse::Now() {
  return {entriesOf("/proc/self/fd"), entriesOf("/proc/self/task"), allocatedBytes() / 1024, residentBytes() / 1024};
}

std::ostream& operator<<(std::ostream& out, const ProcessUse& use) {
  return out << use.descriptors << " descriptors, " << use.threads << " threads, " << use.heapKb << " KiB of heap";
}

}  // namespace test
