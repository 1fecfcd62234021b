#include <gtest/gtest.h>

#include "client/Address.h"
#include "client/StreamStatistics.h"

namespace corvalux::client {

namespace {

using std::chrono::milliseconds;

const StreamStatistics::Clock::time_point begin = StreamStatistics::Clock::time_point() + std::chrono::hours(1);

Message messageAt(milliseconds time, std::vector<Entry> entries) {
  Message message;
  message.arrival.steady = begin + time;
  message.bytes.resize(100);
  message.entries = std::move(entries);
  return message;
}

Message counted(milliseconds time, uint32_t counter) { return messageAt(time, {{"counter", counter}}); }

TEST(Address, GetsTheDefaultPortWhereItHasNone) {
  EXPECT_EQ(withPort("mixer.local"), "mixer.local:50005");
  EXPECT_EQ(withPort("mixer.local:1"), "mixer.local:1");
  EXPECT_EQ(withPort("::1"), "[::1]:50005");
  EXPECT_EQ(withPort("[::1]"), "[::1]:50005");
  EXPECT_EQ(withPort("[::1]:1"), "[::1]:1");
  EXPECT_EQ(withPort("unix:/a:b"), "unix:/a:b");
  EXPECT_EQ(withPort("dns:///mixer:1"), "dns:///mixer:1");
}

TEST(StreamStatistics, CountWhatTheCounterSkips) {
  StreamStatistics statistics;
  for (const uint32_t counter : {10U, 11U, 14U, 15U}) statistics.Take(counted(milliseconds(0), counter));
  EXPECT_TRUE(statistics.HasCounter());
  EXPECT_EQ(statistics.Missed(), 2U);
}

TEST(StreamStatistics, ACounterThatRestartsOrWrapsIsNoGap) {
  StreamStatistics statistics;
  for (const uint32_t counter : {4000U, 1U, 2U}) statistics.Take(counted(milliseconds(0), counter));
  statistics.Interrupt();
  statistics.Take(counted(milliseconds(0), 50));
  statistics.Interrupt();
  for (const uint32_t counter : {4'294'967'295U, 0U, 1U}) statistics.Take(counted(milliseconds(0), counter));
  EXPECT_EQ(statistics.Missed(), 0U);
}

TEST(StreamStatistics, MeasureRateBytesAndJitter) {
  StreamStatistics steady;
  StreamStatistics uneven;
  for (int i = 0; i < 200; ++i) {
    steady.Take(counted(milliseconds(i * 40), 1));
    uneven.Take(counted(milliseconds(i * 40 + i % 2 * 10), 1));
  }
  const auto now = begin + milliseconds(199 * 40);
  EXPECT_NEAR(steady.MessagesPerSecond(now), 25, 0.5);
  EXPECT_NEAR(steady.BytesPerSecond(now), 2500, 50);
  EXPECT_NEAR(steady.JitterMs(now), 0, 0.001);
  EXPECT_NEAR(uneven.JitterMs(now), 10, 0.2);
  EXPECT_EQ(steady.Messages(), 200U);
  EXPECT_EQ(steady.Bytes(), 20'000U);
}

TEST(StreamStatistics, OfAStreamThatStoppedFallToZero) {
  StreamStatistics statistics;
  EXPECT_FALSE(statistics.Age(begin));
  for (int i = 0; i < 10; ++i) statistics.Take(counted(milliseconds(i * 40), 1));
  const auto later = begin + milliseconds(360) + std::chrono::seconds(10);
  EXPECT_EQ(statistics.MessagesPerSecond(later), 0);
  EXPECT_EQ(statistics.BytesPerSecond(later), 0);
  EXPECT_EQ(statistics.Age(later), std::chrono::seconds(10));
}

TEST(StreamStatistics, CountRejectedMessagesButNotAsMissed) {
  StreamStatistics statistics;
  statistics.Take(counted(milliseconds(0), 1));
  Message rejected = messageAt(milliseconds(0), {});
  rejected.valid = false;
  statistics.Take(rejected);
  statistics.Take(counted(milliseconds(0), 3));
  EXPECT_EQ(statistics.Rejected(), 1U);
  EXPECT_EQ(statistics.Missed(), 0U);
}

}  // namespace

}  // namespace corvalux::client
