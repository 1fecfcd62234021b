// What a stop does, step by step, with and without clients.
#include <gmock/gmock.h>
#include <grpc/grpc.h>

#include <algorithm>
#include <chrono>
#include <ostream>
#include <stdexcept>
#include <vector>

#include "module/Journal.h"
#include "module/RecordedTest.h"
#include "module/Signals.h"
#include "support/StreamClient.h"

namespace {

using namespace std::chrono_literals;
using sim::Event;
using test::StreamClient;
using test::Texts;
using testing::ElementsAre;

class Stop : public test::RecordedTest {
 protected:
  bool Subscribed(const StreamClient& client, Event event) {
    return EmitUntil(event, {}, [&] { return !client.Messages().empty(); });
  }

  /// Emits to a client that does not read more than its window holds, so that its stream cannot end; false when it
  /// never subscribes.
  bool Stuck() {
    const sim::KeyValues heavy = {{"weight", std::vector<float>(50'000)}};
    return EmitUntil(Event::meterFast, heavy, [&] { return engine.Visits() > 0; });
  }

  /// Stops; returns all that could be seen of it.
  Texts StopAndRecord() {
    test::Journal journal(engine, grpc);
    instance.Stop();
    return test::withoutPointers(journal.Entries());
  }
};

/// The place of the one entry that contains `part`.
std::size_t placeOf(const std::string& part, const Texts& entries) {
  const auto contains = [&](const std::string& entry) { return entry.find(part) != std::string::npos; };
  EXPECT_EQ(std::count_if(entries.begin(), entries.end(), contains), 1) << part;
  return static_cast<std::size_t>(std::find_if(entries.begin(), entries.end(), contains) - entries.begin());
}

TEST_F(Stop, WithoutClientsTakesItsStepsInOneOrder) {
  StartModule();
  EXPECT_THAT(
      StopAndRecord(),
      ElementsAre("2 stopCycle(grpc)", "remove meterSlow", "remove meterFast", "remove changes", "server shuts down",
                  "1 destroying gRPC Notifications service", "1 destroying gRPC Meters service", "server destroyed"));
}

TEST_F(Stop, WithoutClientsDoesNotSleep) {
  StartModule();
  EXPECT_LT(TimedStop(), 1s);
  EXPECT_EQ(test::GrpcCalls::Naps(), 0U);
}

// Shutting the library down as well could take 10 s: it waits for connections that arrive during the stop.
TEST_F(Stop, LeavesTheLibraryInitialised) {
  StartModule();
  instance.Stop();
  EXPECT_TRUE(grpc_is_initialized());
}

TEST_F(Stop, WaitsNoLongerThanItsStreamsLast) {
  StartModule();
  StreamClient client(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(client, Event::meterFast));
  const auto took = TimedStop();
  EXPECT_LE(test::GrpcCalls::Naps() * 50ms, took);
  EXPECT_LT(took, 2s) << "the stream did not end by itself";
}

TEST_F(Stop, LeavesAServerWithStreamsNoTimeToEndThem) {
  ASSERT_EQ(StartWith({{"grpc_memory_kb", 1 << 20}}), 0);
  const StreamClient stalled(address, test::fastMethod, /*read=*/false);
  ASSERT_TRUE(Stuck());
  instance.Stop();
  const auto wait = grpc.LastShutdown();
  ASSERT_TRUE(wait);
  EXPECT_EQ(wait->clock, GPR_CLOCK_MONOTONIC);
  EXPECT_LE(wait->left, 0s);
  EXPECT_GT(wait->left, -1s) << "the deadline is not that moment's";
}

TEST_F(Stop, LooksEveryFiftyMillisecondsForItsStreamsWhateverSignalsCome) {
  ASSERT_EQ(StartWith({{"grpc_memory_kb", 1 << 20}}), 0);
  const StreamClient stalled(address, test::fastMethod, /*read=*/false);
  ASSERT_TRUE(Stuck());
  const test::Signals signals(5ms);
  EXPECT_GE(TimedStop(), 2s);
  EXPECT_GT(test::GrpcCalls::Naps(), 20U);
  EXPECT_LE(test::GrpcCalls::Naps(), 41U);
  EXPECT_GT(signals.Count(), 100) << "sleeps were hardly disturbed";
}

struct Method {
  std::string path;
  Event event;
};

void PrintTo(const Method& method, std::ostream* out) { *out << method.path.substr(method.path.rfind('/') + 1); }

class StopWithOneStream : public Stop, public testing::WithParamInterface<Method> {};

TEST_P(StopWithOneStream, ClosesItAndLogsThatOnce) {
  StartModule();
  StreamClient client(address, GetParam().path);
  ASSERT_TRUE(Subscribed(client, GetParam().event));
  EXPECT_THAT(StopAndRecord(), ElementsAre("2 stopCycle(grpc)", "remove meterSlow", "remove meterFast",
                                           "remove changes", "1 removing reactor #1 from publisher",
                                           "1 calling Finish on reactor #1", "1 OnDone invoked: cleaning up reactor #1",
                                           "server shuts down", "1 destroying gRPC Notifications service",
                                           "1 destroying gRPC Meters service", "server destroyed"));
}

INSTANTIATE_TEST_SUITE_P(OfEachMethod, StopWithOneStream,
                         testing::Values(Method{test::fastMethod, Event::meterFast},
                                         Method{test::slowMethod, Event::meterSlow},
                                         Method{test::changesMethod, Event::changes}));

TEST_F(Stop, ClosesMetersInTheOrderOfTheirCallsAndThenNotifications) {
  StartModule();
  StreamClient changes(address, test::changesMethod);
  ASSERT_TRUE(Subscribed(changes, Event::changes));
  StreamClient slow(address, test::slowMethod);
  ASSERT_TRUE(Subscribed(slow, Event::meterSlow));
  StreamClient fast(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(fast, Event::meterFast));
  const Texts entries = StopAndRecord();
  // #1 is the first to be removed: the slow stream, as the oldest of the meters; #3 is the notifications' one.
  const Texts inOrder = {"remove changes",
                         "removing reactor #1",
                         "calling Finish on reactor #1",
                         "removing reactor #2",
                         "calling Finish on reactor #2",
                         "removing reactor #3",
                         "calling Finish on reactor #3",
                         "server shuts down"};
  for (std::size_t i = 1; i < inOrder.size(); ++i) {
    EXPECT_LT(placeOf(inOrder[i - 1], entries), placeOf(inOrder[i], entries)) << inOrder[i];
  }
  for (const char* meters : {"OnDone invoked: cleaning up reactor #1", "OnDone invoked: cleaning up reactor #2"}) {
    EXPECT_LT(placeOf(meters, entries), placeOf("removing reactor #3", entries)) << "notifications did not wait";
  }
  EXPECT_LT(placeOf("OnDone invoked: cleaning up reactor #3", entries), placeOf("server shuts down", entries));
}

TEST_F(Stop, OfAServerThatNeverRanLeavesTheServerOut) {
  grpc.RaiseIn("BuildAndStart", [] { throw std::runtime_error("no server"); });
  EXPECT_EQ(StartWith({}), -1);
  EXPECT_THAT(StopAndRecord(), ElementsAre("2 stopCycle(grpc)", "1 destroying gRPC Notifications service",
                                           "1 destroying gRPC Meters service"));
}

}  // namespace
