// A client that is too slow gets the newest message, and nobody else notices.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "live/LiveTest.h"
#include "support/ProcessUse.h"

namespace {

using namespace std::chrono_literals;
using sim::Event;
using test::counted;
using test::RawCall;
using test::StreamClient;

class SlowClient : public test::LiveTest {
 protected:
  /// Emits the counters 1 to `count`, each with a weight, and only then reads: up to the newest.
  std::vector<uint32_t> ReadLate(RawCall& call, uint32_t count, std::size_t weight, Event event = Event::meterFast) {
    for (uint32_t counter = 1; counter <= count; ++counter) engine.Emit(event, counted(counter, weight));
    std::vector<uint32_t> counters;
    while (counters.empty() || counters.back() != count) {
      const auto bytes = call.Read();
      if (!bytes) break;
      counters.push_back(test::counterOf(*bytes));
    }
    return counters;
  }

  /// The same, repeated while only the newest arrives: then the write of the message before the burst completed after
  /// it, and all of the burst waited for that.
  std::vector<uint32_t> ReadLateWithAnOldOne(RawCall& call, uint32_t count, Event event) {
    std::vector<uint32_t> counters;
    test::eventually([&] {
      counters = ReadLate(call, count, test::heavy, event);
      return counters != std::vector{count};
    });
    return counters;
  }
};

TEST_F(SlowClient, GetsOneOldMessageAndThenTheNewest) {
  StartRoomyModule();
  RawCall call(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(call));
  EXPECT_THAT(ReadLateWithAnOldOne(call, 100, Event::meterFast), testing::ElementsAre(testing::Lt(100U), 100U));
}

TEST_F(SlowClient, GetsNoMoreOldMessagesThanTheWindowHolds) {
  StartRoomyModule();
  RawCall call(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(call));
  constexpr std::size_t kib = 1024;
  const auto counters = ReadLate(call, 5000, kib / sizeof(float));
  EXPECT_TRUE(std::is_sorted(counters.begin(), counters.end(), std::less_equal<>()));
  EXPECT_EQ(counters.back(), 5000U);
  EXPECT_LT(counters.size(), 200U);  // a window of 64 KiB, and what is in transit
}

TEST_F(SlowClient, OfNotificationsGetsTheNewestToo) {
  StartRoomyModule();
  RawCall call(address, test::changesMethod);
  ASSERT_TRUE(Subscribed(call, Event::changes));
  EXPECT_THAT(ReadLateWithAnOldOne(call, 50, Event::changes), testing::ElementsAre(testing::Lt(50U), 50U));
}

TEST_F(SlowClient, CostsTheServerNoBacklog) {
  StartRoomyModule();
  RawCall stalled(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(stalled));
  const auto values = counted(1, test::heavy);
  const auto emit = [&](int times) {
    for (int i = 0; i < times; ++i) engine.Emit(Event::meterFast, values);
  };
  emit(10);  // one is being written, one is pending
  const auto before = test::ProcessUse::Now();
  emit(500);
  EXPECT_LT(test::ProcessUse::Now().heapKb, before.heapKb + 5 * test::heavy * sizeof(float) / 1024)
      << "more than a few messages are kept";
}

TEST_F(SlowClient, DoesNotSlowOthersDown) {
  StartRoomyModule();
  RawCall stalled(address, test::fastMethod);
  StreamClient reader(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(stalled));
  ASSERT_TRUE(Subscribed(reader));
  for (uint32_t counter = 1; counter <= 100; ++counter) {
    ASSERT_TRUE(Delivered(Event::meterFast, counted(counter, test::heavy), reader));
    // The one before may still come first.
    ASSERT_TRUE(test::eventually([&] { return test::counterOf(reader.Messages().back()) == counter; }));
  }
}

TEST_F(SlowClient, DoesNotDelayTheEngine) {
  std::vector<std::chrono::nanoseconds> times;
  engine.SetCallObserver([&](Event, std::chrono::nanoseconds time) { times.push_back(time); });
  StartRoomyModule();
  const auto medianTime = [&] {
    times.clear();
    for (uint32_t i = 0; i < 200; ++i) engine.Emit(Event::meterFast, counted(i, test::heavy));
    std::nth_element(times.begin(), times.begin() + 100, times.end());
    return times[100];
  };
  StreamClient reader(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(reader));
  const auto alone = medianTime();
  RawCall stalled(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(stalled));
  EXPECT_LT(medianTime(), 10 * alone + 1ms);
}

}  // namespace
