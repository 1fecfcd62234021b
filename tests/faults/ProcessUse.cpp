#include "faults/ProcessUse.h"

#include <malloc.h>

#include <filesystem>
#include <iterator>

namespace test {

namespace {

std::size_t entriesOf(const char* folder) {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

std::size_t allocatedKb() {
  const auto heap = mallinfo2();
  return (heap.uordblks + heap.hblkhd) / 1024;
}

}  // namespace

ProcessUse ProcessUse::Now() { return {entriesOf("/proc/self/fd"), entriesOf("/proc/self/task"), allocatedKb()}; }

std::ostream& operator<<(std::ostream& out, const ProcessUse& use) {
  return out << use.descriptors << " descriptors, " << use.threads << " threads, " << use.heapKb << " KiB of heap";
}

}  // namespace test
