// Times every case, and counts the heap allocations of each event.
#include <benchmark/benchmark.h>

#include "micro/Allocations.h"
#include "micro/Cases.h"

namespace {

void run(benchmark::State& state, const bench::Case& oneCase) {
  oneCase.doEvent();
  const std::size_t before = bench::allocations();
  for ([[maybe_unused]] auto _ : state) oneCase.doEvent();
  const std::size_t after = bench::allocations();
  state.counters["allocations"] =
      benchmark::Counter(static_cast<double>(after - before), benchmark::Counter::kAvgIterations);
}

}  // namespace

int main(int argc, char** argv) {
  const auto cases = bench::allCases();
  for (const bench::Case& oneCase : cases) {
    benchmark::RegisterBenchmark(oneCase.name.c_str(), run, oneCase);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
