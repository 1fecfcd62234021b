// Start and stop, raced against everything that clients do: no hang, nothing left behind, stop always within its bound.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "faults/FaultyClient.h"
#include "sim/Ticker.h"
#include "support/ModuleTest.h"
#include "support/ProcessUse.h"

namespace {

using namespace std::chrono_literals;

/// How many rounds: few in every test run, thousands with CORVALUX_TEST_ROUNDS.
int rounds() {
  const char* text = std::getenv("CORVALUX_TEST_ROUNDS");
  return text ? std::atoi(text) : 10;
}

/// Connections that the library may lose: gRPC 1.51 forgets one that it accepts just when its server stops. About one
/// stop in a thousand under a flood of connections, if the processors are busy as well.
std::size_t lostConnections() { return 1 + static_cast<std::size_t>(rounds()) / 100; }

class StartStop : public test::ModuleTest {
 protected:
  void TearDown() override {
    player.reset();
    ModuleTest::TearDown();
  }

  /// Lets the engine emit on threads of its own, all the time.
  void Play() {
    player = std::make_unique<sim::Ticker>(1ms, [this] {
      engine.Emit(sim::Event::meterFast, {{"counter", ++counter}, {"bulk", std::vector<float>(2000)}});
      engine.Emit(sim::Event::changes, {{"counter", counter}});
    });
  }

  /// Starts and stops `count` times, each time after a different pause. Returns the longest stop.
  std::chrono::nanoseconds Race(int count) {
    std::chrono::nanoseconds longest{};
    for (int i = 0; i < count && !HasFailure(); ++i) {
      log.Clear();
      engine.Forget();
      EXPECT_EQ(instance.Start({{"serverUrl", address}, {"grpc_memory_kb", 65536}}), 0);
      std::this_thread::sleep_for(std::chrono::microseconds((i * 7919) % 20000));
      longest = std::max(longest, TimedStop());
      EXPECT_LT(longest, test::stopLimit);
    }
    return longest;
  }

  uint32_t counter = 0;
  std::unique_ptr<sim::Ticker> player;
};

class StartStopAgainst : public StartStop, public testing::WithParamInterface<const char*> {
 protected:
  /// The same, with a bad client that begins in the first round and reconnects in each further one.
  std::chrono::nanoseconds RaceWithClient(int count) {
    EXPECT_EQ(instance.Start({{"serverUrl", address}, {"grpc_memory_kb", 65536}}), 0);
    const test::FaultyClient client(GetParam(), address, 600.0);
    const auto first = TimedStop();
    EXPECT_LT(first, test::stopLimit);
    const auto longest = std::max(first, Race(count));
    EXPECT_TRUE(client.Running());
    return longest;
  }
};

TEST_P(StartStopAgainst, ReturnsInTimeAndLeavesNothingBehind) {
  Play();
  std::chrono::nanoseconds longest = RaceWithClient(10);  // what the libraries never free is allocated by now
  const auto before = test::ProcessUse::Now();
  for (int done = 0; done < rounds() && !HasFailure(); done += 10) longest = std::max(longest, RaceWithClient(10));
  EXPECT_TRUE(test::eventually([&] {
    return test::ProcessUse::Now().descriptors <= before.descriptors + lostConnections();
  })) << before
      << ", now " << test::ProcessUse::Now();
  const auto after = test::ProcessUse::Now();
  EXPECT_LE(after.threads, before.threads + 4) << "the library's pool may grow by what two processors need";
  EXPECT_LT(after.heapKb, before.heapKb + 4096);
  std::printf("ROW | %s | %d | %.0f ms | %zu to %zu KiB | %zu to %zu descriptors |\n", GetParam(), rounds(),
              static_cast<double>(longest.count()) / 1e6, before.heapKb, after.heapKb, before.descriptors,
              after.descriptors);
}

INSTANTIATE_TEST_SUITE_P(Clients, StartStopAgainst,
                         testing::Values("churn", "reset-mid-frame", "random-bytes", "malformed-frames",
                                         "connection-flood", "stream-flood", "unknown-methods", "endless-requests",
                                         "slow-handshake"),
                         [](const auto& info) {
                           std::string name = info.param;
                           std::erase(name, '-');
                           return name;
                         });

// gRPC 1.51 takes seconds of one of its own threads to digest the pings that it has read when it decides that they are
// too many, and its server waits for that thread.
TEST_F(StartStop, PingFloodHoldsStopNoLongerThanTheBound) {
  Play();
  std::chrono::nanoseconds longest{};
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(instance.Start({{"serverUrl", address}, {"grpc_memory_kb", 65536}}), 0);
    test::FaultyClient client("ping-flood", address, 5.0);
    std::this_thread::sleep_for(300ms);  // the flood goes on meanwhile
    longest = std::max(longest, TimedStop());
  }
  EXPECT_LT(longest, test::stopLimit);
  EXPECT_TRUE(log.WaitFor("destroying gRPC", 2 * 3)) << "what a stop left behind does not end";
  std::printf("ROW | ping-flood | 3 | %.0f ms |\n", static_cast<double>(longest.count()) / 1e6);
}

// Thousands of streams that have ended but are still listed: forgetting one must not cost a walk over all others.
TEST_F(StartStop, ManyStreamsThatEndAtOnceHoldStopNoLongerThanTheBound) {
  Play();
  ASSERT_EQ(instance.Start({{"serverUrl", address}, {"grpc_memory_kb", 131072}}), 0);
  {
    std::vector<std::unique_ptr<test::FaultyClient>> clients;
    for (int i = 0; i < 5; ++i) clients.push_back(std::make_unique<test::FaultyClient>("churn", address, 60.0));
    std::this_thread::sleep_for(4s);  // they churn meanwhile; then all are killed
  }
  const auto time = TimedStop();
  EXPECT_LT(time, test::stopLimit);
  std::printf("ROW | churn of 5 clients for 4 s | 1 | %.0f ms |\n", static_cast<double>(time.count()) / 1e6);
}

// The library does not close a connection while a write is under way, and the write to this client never ends.
TEST_F(StartStop, ClientThatFillsItsSocketHoldsNeitherStopNorTheNextStart) {
  Play();
  ASSERT_EQ(instance.Start({{"serverUrl", address}}), 0);
  test::FaultyClient stalled("stall-wide", address, 60.0);
  std::this_thread::sleep_for(2s);  // its socket fills meanwhile, also where a sanitizer makes everything slow
  EXPECT_LT(TimedStop(), test::stopLimit);
  EXPECT_EQ(instance.record.moduleSlot, nullptr);
  EXPECT_EQ(log.Count(1, "destroying gRPC"), 0U) << "not held";
  ASSERT_EQ(instance.Start({{"serverUrl", address}}), 0);
  test::FaultyClient next("read", address, 60.0);
  EXPECT_TRUE(next.ReadLine(test::patience)) << "the address is not free";
  stalled.Signal(SIGKILL);
  EXPECT_TRUE(log.WaitFor("destroying gRPC", 2)) << "what was left does not end with the client that held it";
}

// This process has no gRPC client of its own, so the library joins its threads after the stop, which takes 100 ms.
TEST_F(StartStop, ConnectionThatDoesNotAnswerLeavesNothingBehind) {
  ASSERT_EQ(instance.Start({{"serverUrl", address}}), 0);
  {
    test::FaultyClient frozen("read", address, 60.0);
    ASSERT_TRUE(EmitUntil(sim::Event::meterFast, {}, [&] { return frozen.HasPrinted("\n\n"); }));
    frozen.Signal(SIGSTOP);
    const auto time = TimedStop();
    EXPECT_GT(time, 900ms) << "the client has answered";
    EXPECT_EQ(log.Count(1, "destroying gRPC"), 2U) << "the stop gave up after " << time.count() / 1000000 << " ms";
  }
}

}  // namespace
