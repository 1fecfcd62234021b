#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "monitor/model/Board.h"
#include "monitor/model/Inbox.h"
#include "monitor/model/Scale.h"
#include "monitor/model/Strips.h"

namespace corvalux::monitor {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const Clock::time_point begin = Clock::time_point() + std::chrono::hours(1);

client::Message messageAt(client::Stream stream, milliseconds time, std::vector<client::Entry> entries,
                          std::size_t bytes = 100) {
  client::Message message;
  message.stream = stream;
  message.arrival.steady = begin + time;
  message.bytes.resize(bytes);
  message.entries = std::move(entries);
  return message;
}

}  // namespace

TEST(Scale, RisesFromSilenceToFull) {
  EXPECT_EQ(deflection(-std::numeric_limits<double>::infinity()), 0);
  EXPECT_EQ(deflection(std::nan("")), 0);
  EXPECT_EQ(deflection(3), 1);
  EXPECT_DOUBLE_EQ(deflection(-20), 0.5);
  for (int db = -70; db < 0; ++db) EXPECT_LT(deflection(db), deflection(db + 1));
}

TEST(Scale, OfBandsHasEvenSteps) {
  EXPECT_EQ(bandDeflection(-80), 0);
  EXPECT_EQ(bandDeflection(-40), 0.5);
  EXPECT_EQ(bandDeflection(1), 1);
  EXPECT_EQ(bandDeflection(std::nan("")), 0);
}

TEST(Strips, GroupKeysByWhatIsBeforeTheirLastPart) {
  Strips strips;
  strips.Take({{"counter", 7U},
               {"input/1/peak", -6.0F},
               {"input/1/rms", -18.0F},
               {"input/1/spectrum", std::vector{-20.0F}},
               {"input/1/clips", 3},
               {"bus/1/level", -9.0},
               {"input/1/peak", -1.0F}},
              begin);
  const auto& all = strips.All();
  ASSERT_EQ(all.size(), 3U);
  EXPECT_EQ(all[0].prefix, "");
  EXPECT_FALSE(all[0].HasLevel());
  EXPECT_EQ(all[1].peak, -6.0);
  EXPECT_EQ(all[1].rms, -18.0);
  EXPECT_EQ(all[1].spectrum, std::vector{-20.0F});
  const std::vector<client::Entry> others = {{"clips", 3}, {"peak", -1.0F}};
  EXPECT_EQ(all[1].others, others);
  EXPECT_EQ(all[2].prefix, "bus/1");
  EXPECT_EQ(all[2].peak, -9.0);
}

TEST(Strips, ALevelThatIsNoNumberOrSilenceIsTheFloor) {
  Strips strips;
  strips.Take({{"a/peak", -std::numeric_limits<float>::infinity()}, {"b/peak", std::nanf("")}, {"c/peak", 3U}}, begin);
  EXPECT_EQ(strips.All()[0].peak, floorDb);
  EXPECT_EQ(strips.All()[1].peak, floorDb);
  EXPECT_FALSE(strips.All()[2].HasLevel());
}

TEST(Strips, HoldThePeakThenLetItFall) {
  Strips strips;
  const auto holdAt = [&](float level, milliseconds time) {
    strips.Take({{"a/peak", level}}, begin + time);
    return strips.All()[0].hold;
  };
  EXPECT_EQ(holdAt(-6, milliseconds(0)), -6);
  EXPECT_EQ(holdAt(-40, Strips::holdTime), -6);
  EXPECT_NEAR(holdAt(-40, Strips::holdTime + milliseconds(500)), -16, 0.01);
  EXPECT_NEAR(holdAt(-40, Strips::holdTime + milliseconds(1000)), -26, 0.01);
  EXPECT_EQ(holdAt(-10, Strips::holdTime + milliseconds(1001)), -10);
  EXPECT_EQ(holdAt(-40, Strips::holdTime + milliseconds(60'000)), -40);
}

TEST(Inbox, KeepsOnlyTheNewestMetersButEveryChange) {
  Inbox inbox;
  for (int i = 0; i < 3; ++i) {
    for (const client::Stream stream : client::allStreams) inbox.Take(messageAt(stream, milliseconds(i), {{"n", i}}));
  }
  const News news = inbox.Collect();
  ASSERT_TRUE(news.fast && news.slow);
  EXPECT_EQ(news.fast->entries[0].value, client::Value(2));
  EXPECT_EQ(news.slow->entries[0].value, client::Value(2));
  ASSERT_EQ(news.changes.size(), 3U);
  EXPECT_EQ(news.changes[0].entries[0].value, client::Value(0));
  EXPECT_EQ(news.statistics[0].Messages(), 3U);
  const News again = inbox.Collect();
  EXPECT_FALSE(again.fast || again.slow);
  EXPECT_TRUE(again.changes.empty());
}

TEST(Inbox, ForgetsTheOldestChangesWhenNobodyLooks) {
  Inbox inbox;
  for (std::size_t i = 0; i < Inbox::changesLimit + 5; ++i) {
    inbox.Take(messageAt(client::Stream::changes, milliseconds(0), {{"n", static_cast<uint32_t>(i)}}));
  }
  const News news = inbox.Collect();
  ASSERT_EQ(news.changes.size(), Inbox::changesLimit);
  EXPECT_EQ(news.changes.front().entries[0].value, client::Value(5U));
}

TEST(Board, TellsTheValueBeforeAChange) {
  Board board("device");
  News news;
  news.slow = messageAt(client::Stream::slow, milliseconds(0), {{"input/1/name", std::string("Vox")}});
  news.changes.push_back(
      messageAt(client::Stream::changes, milliseconds(0), {{"counter", 1U}, {"input/1/gain", -3.0F}}));
  news.changes.push_back(messageAt(client::Stream::changes, milliseconds(1),
                                   {{"input/1/gain", -6.0F}, {"input/1/name", std::string("Lead")}}));
  EXPECT_EQ(board.LabelOf("input/1"), "input/1");
  board.Take(std::move(news), begin);
  EXPECT_EQ(board.LabelOf("input/1"), "Lead");
  ASSERT_EQ(board.Changes().size(), 3U);
  EXPECT_EQ(board.Changes()[0].before, "Vox");
  EXPECT_EQ(board.Changes()[1].before, "-3");
  EXPECT_EQ(board.Changes()[1].after, "-6");
  EXPECT_EQ(board.Changes()[2].before, "");
}

TEST(Board, TellsTheValueBeforeAChangeThatTheSlowMetersKnewFirst) {
  Board board("device");
  for (const char* name : {"Vox", "Lead"}) {
    News news;
    news.slow = messageAt(client::Stream::slow, milliseconds(0), {{"input/1/name", std::string(name)}});
    board.Take(std::move(news), begin);
  }
  News news;
  news.changes.push_back(messageAt(client::Stream::changes, milliseconds(1), {{"input/1/name", std::string("Lead")}}));
  board.Take(std::move(news), begin);
  EXPECT_EQ(board.Changes().at(0).before, "Vox");
  EXPECT_EQ(board.Changes().at(0).after, "Lead");
}

}  // namespace corvalux::monitor
