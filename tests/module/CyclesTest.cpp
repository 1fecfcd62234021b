// Many cycles of loading, starting, stopping and unloading leave nothing behind.
#include <gtest/gtest.h>

#include "support/ModuleTest.h"
#include "support/ProcessUse.h"
#include "support/StreamClient.h"

namespace {

using test::ProcessUse;
using test::StreamClient;

std::size_t openFiles() { return ProcessUse::Now().descriptors; }
std::size_t threads() { return ProcessUse::Now().threads; }
std::size_t memoryKib() { return test::emulated ? ProcessUse::Now().heapKb : ProcessUse::Now().residentKb; }

class Cycles : public testing::Test {
 protected:
  /// Loads, starts, streams a message of each kind to a client, stops and unloads.
  void Cycle() {
    const sim::LoadedModule module(CORVALUX_MODULE_FILE);
    sim::Instance instance(module.Entry(), engine);
    ASSERT_EQ(instance.Start({{"serverUrl", address}}), 0);
    {
      StreamClient client(address, test::fastMethod);
      ASSERT_TRUE(test::eventually([&] {
        engine.Emit(sim::Event::meterFast, {{"level", -20.0F}, {"bands", std::vector<float>(64, -3.0F)}});
        return !client.Messages().empty();
      }));
      instance.Stop();
      // Any status: on a busy machine the connection may be closed before CANCELLED arrives.
      ASSERT_TRUE(client.WaitForStatus());
    }
  }

  void TearDown() override {
    EXPECT_EQ(sim::takeMisuse(), std::vector<std::string>{});
    EXPECT_EQ(engine.Registrations(), 0U);
  }

  test::TempDir dir;
  const std::string address = dir.UnixAddress();
  sim::Engine engine;
};

constexpr bool sanitized =
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    true;  // keeps freed memory for a while
#else
    false;
#endif

/// What a hundred cycles may add. A server left behind in each adds several times that; what is smaller is for the leak
/// sanitizer to find.
constexpr std::size_t growthKib = 1024;

TEST_F(Cycles, AHundredLeaveNoFileNoThreadAndNoMemoryBehind) {
  for (int i = 0; i < 20; ++i) ASSERT_NO_FATAL_FAILURE(Cycle());  // the library's own threads and caches
  const std::size_t filesBefore = openFiles();
  const std::size_t threadsBefore = threads();
  const std::size_t memoryBefore = memoryKib();
  for (int i = 0; i < 100; ++i) ASSERT_NO_FATAL_FAILURE(Cycle());
  // The library keeps idle threads for the next start: a few more may exist by chance.
  EXPECT_TRUE(test::eventually([&] { return openFiles() <= filesBefore; })) << openFiles() << " of " << filesBefore;
  EXPECT_TRUE(test::eventually([&] { return threads() <= threadsBefore + 4; })) << threads() << " of " << threadsBefore;
  RecordProperty("memoryGrowthKib", static_cast<int>(memoryKib()) - static_cast<int>(memoryBefore));
  if (!sanitized) {
    EXPECT_LE(memoryKib(), memoryBefore + growthKib);
  }
}

TEST_F(Cycles, AHundredFailedStartsLeaveNothingBehindEither) {
  const auto fail = [this] {
    const sim::LoadedModule module(CORVALUX_MODULE_FILE);
    sim::Instance instance(module.Entry(), engine);
    engine.RefuseRegistration(3);
    ASSERT_EQ(instance.Start({{"serverUrl", address}}), -1);
    ASSERT_EQ(instance.record.moduleSlot, nullptr);
  };
  for (int i = 0; i < 20; ++i) ASSERT_NO_FATAL_FAILURE(fail());
  const std::size_t filesBefore = openFiles();
  const std::size_t memoryBefore = memoryKib();
  for (int i = 0; i < 100; ++i) ASSERT_NO_FATAL_FAILURE(fail());
  EXPECT_TRUE(test::eventually([&] { return openFiles() <= filesBefore; })) << openFiles() << " of " << filesBefore;
  if (!sanitized) {
    EXPECT_LE(memoryKib(), memoryBefore + growthKib);
  }
}

}  // namespace
