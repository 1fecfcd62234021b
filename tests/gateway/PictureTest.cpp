#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "gateway/devices/Choice.h"
#include "gateway/devices/Inbox.h"
#include "gateway/devices/LevelWindow.h"
#include "gateway/devices/Picture.h"

namespace corvalux::gateway {

namespace {

using client::Entry;
using client::Stream;
using testing::ElementsAre;

client::Message message(Stream stream, std::vector<Entry> entries) {
  client::Message made;
  made.stream = stream;
  made.entries = std::move(entries);
  return made;
}

std::vector<std::string> keysOf(const std::vector<Entry>& entries) {
  std::vector<std::string> keys;
  for (const Entry& entry : entries) keys.push_back(entry.key);
  return keys;
}

std::vector<std::string> changedKeys(const Picture& picture) {
  std::vector<std::string> keys;
  for (const Change& change : picture.Changes()) keys.push_back(change.entry.key);
  return keys;
}

}  // namespace

TEST(Picture, KeepsTheNewestFrameOfEachMeterStream) {
  Picture picture({});
  EXPECT_EQ(picture.Newest(Stream::fast), nullptr);
  EXPECT_EQ(picture.Sequence(Stream::fast), 0U);
  picture.Take(message(Stream::fast, {{"a", 1.0F}, {"b", 2.0F}}));
  picture.Take(message(Stream::slow, {{"a", 9.0F}}));
  picture.Take(message(Stream::fast, {{"b", 3.0F}}));
  EXPECT_EQ(picture.Sequence(Stream::fast), 2U);
  EXPECT_EQ(picture.Sequence(Stream::slow), 1U);
  EXPECT_THAT(picture.Newest(Stream::fast)->message.entries, ElementsAre(Entry{"b", 3.0F})) << "a is gone";
  EXPECT_THAT(picture.Newest(Stream::slow)->message.entries, ElementsAre(Entry{"a", 9.0F}));
}

TEST(Picture, KeepsKeysThatRepeatInAFrameApart) {
  Picture picture({});
  picture.Take(message(Stream::fast, {{"a", 1.0F}, {"a", 2.0F}}));
  EXPECT_THAT(keysOf(picture.Newest(Stream::fast)->message.entries), ElementsAre("a", "a"));
}

TEST(Picture, TellsAnotherLayoutOnlyWhenTheKeysDiffer) {
  Picture picture({});
  const auto layoutAfter = [&picture](std::vector<Entry> entries) {
    picture.Take(message(Stream::fast, std::move(entries)));
    return picture.Newest(Stream::fast)->layout;
  };
  const uint64_t first = layoutAfter({{"a", 1.0F}, {"b", 1.0F}});
  EXPECT_EQ(layoutAfter({{"a", 2.0F}, {"b", 2.0F}}), first);
  const uint64_t second = layoutAfter({{"b", 2.0F}, {"a", 2.0F}});
  EXPECT_NE(second, first);
  EXPECT_NE(layoutAfter({{"b", 2.0F}}), second);
}

TEST(Picture, KeepsTheNewestValueOfEachKeyThatChanged) {
  Picture picture({});
  picture.Take(message(Stream::changes, {{"gain", 1}, {"mute", 0}}));
  picture.Take(message(Stream::changes, {{"gain", 2}}));
  EXPECT_THAT(changedKeys(picture), ElementsAre("gain", "mute")) << "newest first";
  EXPECT_EQ(picture.Changes().front().entry.value, client::Value(2));
  EXPECT_EQ(picture.Changes().front().sequence, 2U);
  EXPECT_EQ(picture.Sequence(Stream::changes), 2U);
}

TEST(Picture, DropsAndCountsWhatIsBeyondTheLimits) {
  Picture picture({.frameBytes = 1000, .keys = 3, .keyBytes = 4});
  picture.Take(message(Stream::fast, {{"a", 1}, {"long/", 1}, {"b", 1}}));
  EXPECT_THAT(keysOf(picture.Newest(Stream::fast)->message.entries), ElementsAre("a", "b"));
  EXPECT_EQ(picture.Over().longKeys, 1U);
  picture.Take(message(Stream::slow, {{"c", 1}, {"d", 1}}));
  EXPECT_THAT(keysOf(picture.Newest(Stream::slow)->message.entries), ElementsAre("c"));
  picture.Take(message(Stream::changes, {{"e", 1}}));
  EXPECT_TRUE(picture.Changes().empty());
  EXPECT_EQ(picture.Over().keys, 2U);
}

TEST(Picture, AFrameMayAlwaysReplaceOneOfItsSize) {
  Picture picture({.frameBytes = 1000, .keys = 2, .keyBytes = 4});
  for (int i = 0; i < 3; ++i) picture.Take(message(Stream::fast, {{"a", i}, {"b", i}}));
  EXPECT_EQ(picture.Over().keys, 0U);
  EXPECT_EQ(picture.Newest(Stream::fast)->message.entries.back().value, client::Value(2));
}

TEST(Picture, DropsChangesThatTogetherAreLargerThanAMessageMayBe) {
  Picture picture({.frameBytes = 100, .keys = 9, .keyBytes = 4});
  const auto change = [&picture](const std::string& key, std::size_t size) {
    picture.Take(message(Stream::changes, {{key, std::string(size, 'x')}}));
  };
  change("a", 40);
  change("b", 40);
  change("c", 40);
  EXPECT_THAT(changedKeys(picture), ElementsAre("b", "a"));
  change("a", 50);
  EXPECT_THAT(changedKeys(picture), ElementsAre("a", "b")) << "in place of its former value";
  change("a", 90);
  EXPECT_THAT(changedKeys(picture), ElementsAre("b")) << "the former value would be wrong";
  change("c", 40);
  EXPECT_THAT(changedKeys(picture), ElementsAre("c", "b"));
  EXPECT_EQ(picture.Over().keys, 2U);
}

TEST(Choice, FollowsTheLayout) {
  Picture picture({});
  Choice choice(Patterns({"*/peak"}));
  picture.Take(message(Stream::fast, {{"a/peak", 1}, {"a/rms", 1}, {"b/peak", 1}}));
  EXPECT_THAT(choice.In(*picture.Newest(Stream::fast)), ElementsAre(0, 2));
  picture.Take(message(Stream::fast, {{"a/rms", 1}, {"b/peak", 1}}));
  EXPECT_THAT(choice.In(*picture.Newest(Stream::fast)), ElementsAre(1));
}

TEST(Inbox, WakesOnceUntilItIsCollected) {
  int wakes = 0;
  Inbox inbox({}, [&wakes] { ++wakes; });
  for (int i = 0; i < 3; ++i) inbox.Take(message(Stream::fast, {}));
  EXPECT_EQ(wakes, 1);
  EXPECT_EQ(inbox.Collect().messages[0].size(), 3U);
  inbox.Change({});
  EXPECT_EQ(wakes, 2);
}

TEST(Inbox, ReplacesOldMetersAndMergesChanges) {
  Inbox inbox({}, [] {});
  for (int i = 0; i < 100; ++i) {
    inbox.Take(message(Stream::fast, {{"n", i}}));
    inbox.Take(message(Stream::changes, {{std::to_string(i), i}}));
  }
  const Arrivals arrivals = inbox.Collect();
  EXPECT_EQ(arrivals.messages[0].size(), Inbox::depth);
  EXPECT_EQ(arrivals.messages[0].back().entries.front().value, client::Value(99));
  EXPECT_EQ(arrivals.overtaken, 100 - Inbox::depth);
  std::size_t changes = 0;
  for (const auto& each : arrivals.messages[2]) changes += each.entries.size();
  EXPECT_EQ(changes, 100U);
}

TEST(Inbox, MergedChangesKeepTheNewestOfEachKeyWithinTheLimit) {
  Inbox inbox({.frameBytes = 1000, .keys = 5, .keyBytes = 10}, [] {});
  for (int i = 0; i < 100; ++i) inbox.Take(message(Stream::changes, {{i % 2 == 0 ? "a" : "b", i}}));
  const Arrivals arrivals = inbox.Collect();
  const auto& last = arrivals.messages[2].back().entries;
  EXPECT_LE(last.size(), 5U);
  EXPECT_EQ(last.back(), (Entry{"b", 99}));
}

TEST(Inbox, MergedChangesDropTheOldestBeyondTheLimit) {
  Inbox inbox({.frameBytes = 1000, .keys = 5, .keyBytes = 10}, [] {});
  for (int i = 0; i < 20; ++i) inbox.Take(message(Stream::changes, {{std::to_string(i), i}}));
  const Arrivals arrivals = inbox.Collect();
  EXPECT_THAT(keysOf(arrivals.messages[2].back().entries), ElementsAre("15", "16", "17", "18", "19"));
  EXPECT_EQ(arrivals.tooMany, 8U);
}

TEST(Inbox, MergesChangesIntoADamagedMessage) {
  Inbox inbox({}, [] {});
  auto damaged = message(Stream::changes, {});
  damaged.valid = false;
  for (std::size_t i = 0; i < Inbox::depth; ++i) inbox.Take(damaged);
  inbox.Take(message(Stream::changes, {{"a", 1}}));
  const Arrivals arrivals = inbox.Collect();
  EXPECT_TRUE(arrivals.messages[2].back().valid) << "or its entries do not count";
  EXPECT_THAT(keysOf(arrivals.messages[2].back().entries), ElementsAre("a"));
}

TEST(Inbox, DropsAndCountsEntriesBeyondTheLimitOfKeys) {
  Inbox inbox({.frameBytes = 1000, .keys = 2, .keyBytes = 10}, [] {});
  inbox.Take(message(Stream::fast, {{"a", 1}, {"b", 1}, {"c", 1}}));
  const Arrivals arrivals = inbox.Collect();
  EXPECT_THAT(keysOf(arrivals.messages[0].front().entries), ElementsAre("a", "b"));
  EXPECT_EQ(arrivals.tooMany, 1U);
}

TEST(Inbox, DropsAndCountsMessagesThatAreTooLarge) {
  Inbox inbox({.frameBytes = 10, .keys = 5, .keyBytes = 10}, [] {});
  auto large = message(Stream::fast, {{"a", 1}});
  large.bytes.resize(11);
  inbox.Take(large);
  const Arrivals arrivals = inbox.Collect();
  EXPECT_TRUE(arrivals.messages[0].empty());
  EXPECT_EQ(arrivals.tooLarge, 1U);
}

namespace {

const auto begin = LevelWindow::Clock::time_point(std::chrono::hours(1));

void takeLevel(LevelWindow& window, std::chrono::seconds time, const std::string& key, float level) {
  static uint64_t sequence = 0;
  Frame frame{++sequence, sequence, message(Stream::fast, {{key, level}})};
  frame.message.arrival.steady = begin + time;
  window.Take(frame);
}

}  // namespace

TEST(LevelWindow, HasTheLeastAndTheGreatestOfItsTime) {
  using std::chrono::seconds;
  LevelWindow window(Patterns({"*/peak"}), seconds(60));
  takeLevel(window, seconds(0), "a/peak", -3);
  takeLevel(window, seconds(30), "a/peak", -50);
  takeLevel(window, seconds(30), "a/peak", -20);
  takeLevel(window, seconds(30), "b/rms", -1);
  auto ranges = window.Ranges(begin + seconds(31));
  ASSERT_EQ(ranges.size(), 1U);
  EXPECT_EQ(ranges["a/peak"].least, -50);
  EXPECT_EQ(ranges["a/peak"].greatest, -3);
  ranges = window.Ranges(begin + seconds(70));
  EXPECT_EQ(ranges["a/peak"].greatest, -20) << "the first is too old";
  EXPECT_TRUE(window.Ranges(begin + seconds(200)).empty());
}

TEST(LevelWindow, LeavesOutWhatIsNoNumberAndKeysBeyondTheLimit) {
  using std::chrono::seconds;
  LevelWindow window(Patterns({"**"}), seconds(60));
  takeLevel(window, seconds(0), "nan", std::numeric_limits<float>::quiet_NaN());
  for (std::size_t i = 0; i <= LevelWindow::keysLimit; ++i) takeLevel(window, seconds(0), std::to_string(i), 0);
  EXPECT_EQ(window.Ranges(begin).size(), LevelWindow::keysLimit);
}

TEST(LevelWindow, LeavesThePlacesOfKeysThatAreGoneToOthers) {
  using std::chrono::seconds;
  LevelWindow window(Patterns({"**"}), seconds(60));
  for (std::size_t i = 0; i < LevelWindow::keysLimit; ++i) takeLevel(window, seconds(0), std::to_string(i), 0);
  takeLevel(window, seconds(30), "early", 0);
  takeLevel(window, seconds(70), "late", 0);
  const auto ranges = window.Ranges(begin + seconds(70));
  EXPECT_FALSE(ranges.contains("early"));
  EXPECT_TRUE(ranges.contains("late"));
}

}  // namespace corvalux::gateway
