// Runs each case a fixed number of times, for callgrind to count the instructions. Prints for each case its name, the
// number of events, and their allocations and list walks; callgrind writes one file per case, with its name.
#include <valgrind/callgrind.h>

#include <cstdio>
#include <cstring>

#include "micro/Allocations.h"
#include "micro/Cases.h"
#include "micro/PlainHost.h"

namespace {

/// A multiple of the period of what does not happen at every event: a stream's queue allocates a block every 32
/// messages.
constexpr int events = 64;

void count(const bench::Case& oneCase) {
  for (int i = 0; i < events; ++i) oneCase.doEvent();
  const std::size_t allocationsBefore = bench::allocations();
  const std::size_t walksBefore = bench::walks();
  CALLGRIND_START_INSTRUMENTATION;
  CALLGRIND_ZERO_STATS;
  for (int i = 0; i < events; ++i) oneCase.doEvent();
  CALLGRIND_DUMP_STATS_AT(oneCase.name.c_str());
  CALLGRIND_STOP_INSTRUMENTATION;
  std::printf("%s %d %zu %zu\n", oneCase.name.c_str(), events, bench::allocations() - allocationsBefore,
              bench::walks() - walksBefore);
}

}  // namespace

int main(int argc, char** argv) {
  for (const bench::Case& oneCase : bench::allCases()) {
    if (argc < 2 || oneCase.name.find(argv[1]) != std::string::npos) count(oneCase);
  }
}
