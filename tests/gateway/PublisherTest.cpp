#include "gateway/fleet/Publisher.h"

#include <gmock/gmock.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "support/Deadline.h"

namespace corvalux::gateway {

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

/// A server that takes its time.
class SlowBus final : public Bus {
 public:
  bool Connected() const override { return connected; }
  std::size_t LargestPayload() const override { return 100; }
  bool Publish(const Outgoing& message, const Headers& headers) override {
    std::unique_lock lock(mutex);
    ++begun;
    changed.notify_all();
    changed.wait(lock, [this] { return open; });
    texts.push_back(message.payload ? *message.payload : "");
    sequences.push_back(headers.sequence);
    return works;
  }
  uint64_t Overrun() const override { return 0; }
  std::string Reason() const override { return ""; }

  void Hold(bool hold) {
    const std::lock_guard lock(mutex);
    open = !hold;
    changed.notify_all();
  }
  bool Begins(int count) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, test::patience, [&] { return begun >= count; });
  }

  std::atomic<bool> connected{true};
  std::atomic<bool> works{true};
  std::mutex mutex;  // guards all below
  std::condition_variable changed;
  bool open = true;
  int begun = 0;
  std::vector<std::string> texts;
  std::vector<uint64_t> sequences;
};

class Publishers : public testing::Test {
 protected:
  void Put(const std::string& slot, const std::string& text) {
    Outgoing message;
    message.subject = slot;
    message.payload = std::make_shared<std::string>(text);
    message.arrival = std::chrono::steady_clock::now();
    publisher.Put(slot, std::move(message));
  }
  void Drain() { publisher.Drain(test::patience); }

  SlowBus bus;
  Publisher publisher{bus, {1, "alpha"}};
};

}  // namespace

TEST_F(Publishers, PublishInTheOrderInWhichSlotsWereFilled) {
  bus.Hold(true);
  Put("first", "0");
  ASSERT_TRUE(bus.Begins(1));
  for (const char* text : {"a", "b", "c"}) Put(text, text);
  bus.Hold(false);
  Drain();
  EXPECT_THAT(bus.texts, ElementsAre("0", "a", "b", "c"));
}

TEST_F(Publishers, KeepWhatIsNewestWhileTheServerIsSlow) {
  bus.Hold(true);
  Put("a", "0");
  ASSERT_TRUE(bus.Begins(1));
  for (const char* text : {"1", "2", "3"}) Put("a", text);
  bus.Hold(false);
  Drain();
  EXPECT_THAT(bus.texts, ElementsAre("0", "3"));
  EXPECT_EQ(publisher.Counts().overtaken, 2U);
}

TEST_F(Publishers, CountSequencesOfWhatWentOut) {
  Put("a", "1");
  Drain();
  bus.connected = false;
  Put("a", "lost");
  Drain();
  bus.connected = true;
  Put("a", "2");
  Put("b", "1");
  Drain();
  EXPECT_THAT(bus.sequences, ElementsAre(1, 2, 1));
  EXPECT_EQ(publisher.Counts().disconnected, 1U);
  EXPECT_EQ(publisher.Counts().messages, 3U);
}

TEST_F(Publishers, DropWhatLayInItsSlotTooLong) {
  bus.Hold(true);
  Put("a", "0");
  ASSERT_TRUE(bus.Begins(1));
  Put("a", "old");
  std::this_thread::sleep_for(Publisher::longestWait + milliseconds(50));  // that it passes is what is tried
  Put("b", "new");
  bus.Hold(false);
  Drain();
  EXPECT_THAT(bus.texts, ElementsAre("0", "new"));
  EXPECT_EQ(publisher.Counts().old, 1U);
}

TEST_F(Publishers, RefuseWhatTheServerWouldNotTake) {
  Put("a", std::string(101, 'x'));
  Put("b", std::string(100, 'x'));
  Drain();
  EXPECT_EQ(bus.texts.size(), 1U);
  EXPECT_EQ(publisher.Counts().tooLarge, 1U);
  EXPECT_THAT(publisher.TooLarge(), ElementsAre("a"));
  EXPECT_THAT(publisher.TooLarge(), ElementsAre());
}

TEST_F(Publishers, SayHowFarChangesAreOut) {
  const auto progress = std::make_shared<Progress>();
  const auto put = [&](uint64_t upTo) {
    Outgoing message;
    message.subject = "changes";
    message.arrival = std::chrono::steady_clock::now();
    message.progress = progress;
    message.upTo = upTo;
    publisher.Put("changes", std::move(message));
    Drain();
  };
  put(5);
  EXPECT_EQ(progress->upTo, 5U);
  EXPECT_EQ(progress->number, 1U);
  bus.works = false;
  put(9);
  EXPECT_EQ(progress->upTo, 5U) << "they are not";
}

TEST_F(Publishers, EndWithWhatIsInSlots) {
  bus.Hold(true);
  Put("a", "0");
  ASSERT_TRUE(bus.Begins(1));
  Put("b", "dropped");
  publisher.Drain(milliseconds(1));
  bus.Hold(false);
}

}  // namespace corvalux::gateway
