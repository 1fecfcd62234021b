#include "gateway/live/Window.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "gateway/live/Messages.h"

namespace corvalux::gateway {

namespace {

using std::chrono::milliseconds;

/// A viewer that acknowledges everything this long after it was sent.
class Windows : public testing::Test {
 protected:
  void SendAndAcknowledge(milliseconds trip) {
    window.Sent({1, 1, 0, now});
    now += trip;
    ASSERT_TRUE(window.Acknowledge(++drawn, now, [](const Window::Flight&) {}));
  }
  /// How many updates of 20 ms may be on their way, to a viewer that acknowledged so many at once.
  std::size_t Size(std::size_t together = 1) const {
    std::size_t flying = 0;
    while (window.Allows(flying, together, milliseconds(20))) ++flying;
    return flying;
  }

  Window window;
  Window::Clock::time_point now{std::chrono::hours(1)};
  uint32_t drawn = 0;
};

}  // namespace

TEST_F(Windows, BeginWithTwoUpdates) { EXPECT_EQ(Size(), 2U); }

TEST_F(Windows, GrowWithTheRoundTrip) {
  SendAndAcknowledge(milliseconds(100));
  EXPECT_EQ(Size(), 2U + 5U);
}

TEST_F(Windows, FollowTheLeastRoundTripSinceAQueueIsNoReasonToGrow) {
  SendAndAcknowledge(milliseconds(40));
  SendAndAcknowledge(milliseconds(3000));
  EXPECT_EQ(Size(), 2U + 2U);
}

TEST_F(Windows, GrowToAQuarterOfASecondAtMost) {
  SendAndAcknowledge(milliseconds(9000));
  EXPECT_EQ(Size(), 2U + 12U);
}

TEST_F(Windows, GrowForAViewerThatAcknowledgesRarely) {
  SendAndAcknowledge(milliseconds(0));
  EXPECT_EQ(Size(5), 2U + 4U);
  EXPECT_EQ(Size(100), 2U + 12U) << "a quarter of a second's worth at most";
  SendAndAcknowledge(milliseconds(1));
  EXPECT_EQ(Size(1), 2U);
}

TEST_F(Windows, TakeNoAcknowledgementOfWhatWasNotSent) {
  const auto nothing = [](const Window::Flight&) {};
  EXPECT_FALSE(window.Acknowledge(1, now, nothing));
  SendAndAcknowledge(milliseconds(1));
  EXPECT_TRUE(window.Acknowledge(1, now, nothing)) << "again is harmless";
  EXPECT_FALSE(window.Acknowledge(0, now, nothing)) << "it cannot be taken back";
}

TEST_F(Windows, KnowSinceWhenAnAcknowledgementIsAwaited) {
  EXPECT_FALSE(window.Oldest());
  const auto first = now;
  window.Sent({1, 1, 0, first});
  window.Sent({1, 1, 0, first + milliseconds(5)});
  EXPECT_EQ(window.Oldest(), first);
}

TEST(Messages, AreHeadsWithSharedEntriesBehindThem) {
  for (const std::size_t keys : {0U, 1U, 5U, 2000U}) {
    live::Entries entries;
    for (std::size_t i = 0; i < keys; ++i) entries.add_entries()->set_key("key/" + std::to_string(i));
    live::Update update;
    update.set_sequence(7);
    std::string octets;
    appendHead(update, entries.ByteSizeLong(), octets);
    live::ToViewer message;
    ASSERT_TRUE(message.ParseFromString(octets + entries.SerializeAsString()));
    EXPECT_EQ(message.update().sequence(), 7U);
    EXPECT_EQ(message.update().entries().entries_size(), static_cast<int>(keys));
  }
}

}  // namespace corvalux::gateway
