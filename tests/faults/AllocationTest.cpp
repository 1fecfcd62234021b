// Start and stop when memory runs out: each allocation that the module's own code makes fails once.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include "support/ModuleTest.h"

namespace {

std::atomic<int> untilFailure = 0;  // 0: none fails

/// Whether code of the module's own file called; the libraries that it uses are other files.
bool isModule(const void* caller) {
  Dl_info info{};
  return dladdr(caller, &info) != 0 && info.dli_fname && std::strstr(info.dli_fname, "corvalux_grpc.so");
}

}  // namespace

// The whole process allocates here, the module included: the loader binds it to the program's definition.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (untilFailure > 0 && isModule(__builtin_return_address(0)) && --untilFailure == 0) throw std::bad_alloc();
  if (void* memory = std::malloc(size ? size : 1)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

class Allocation : public test::ModuleTest {};

TEST_F(Allocation, AnyThatFailsDuringStartMakesStartFailAndNothingElse) {
  int failed = 0;
  for (int nth = 1;; ++nth) {
    ASSERT_LT(nth, 200);
    log.Clear();
    untilFailure = nth;
    const int result = instance.Start({{"serverUrl", address}});
    const bool all = untilFailure > 0;
    untilFailure = 0;
    if (all) {
      EXPECT_EQ(result, 0);
      break;
    }
    ++failed;
    EXPECT_EQ(result, -1) << nth;
    EXPECT_EQ(log.Count(1, "C++ exception in grpc: std::bad_alloc"), 1U) << nth;
    instance.Stop();
    EXPECT_EQ(instance.record.moduleSlot, nullptr);
    EXPECT_EQ(engine.Registrations(), 0U);
  }
  EXPECT_GT(failed, 8);
  std::printf("ROW | allocation failed during start | %d of them |\n", failed);
}

TEST_F(Allocation, AnyThatFailsDuringStopLeavesTheStopWhole) {
  int failed = 0;
  for (bool all = false; !all; ++failed) {
    ASSERT_LT(failed, 200);
    StartModule();
    log.Clear();
    untilFailure = failed + 1;
    instance.Stop();
    all = untilFailure > 0;
    untilFailure = 0;
    EXPECT_EQ(instance.record.moduleSlot, nullptr);
    EXPECT_EQ(log.Count(1, "destroying gRPC"), 2U);
    EXPECT_EQ(engine.Registrations(), 0U);
  }
  EXPECT_GT(failed, 1);
}

}  // namespace
