#include "monitor/stream/Feed.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <optional>

#include "FakeDevice.h"
#include "monitor/stream/Backoff.h"
#include "support/Deadline.h"
#include "support/TempDir.h"

namespace monitor {

namespace {

using testing::HasSubstr;
using Phase = ConnectionState::Phase;

/// Notes what a feed tells.
class Notebook : public Listener {
 public:
  void Take(Message message) override {
    const std::lock_guard lock(mutex);
    messages.push_back(std::move(message));
    changed.notify_all();
  }
  void Change(const ConnectionState& state) override {
    const std::lock_guard lock(mutex);
    states.push_back(state);
    changed.notify_all();
  }

  std::vector<Message> WaitForMessages(std::size_t count) {
    std::unique_lock lock(mutex);
    EXPECT_TRUE(changed.wait_for(lock, test::patience, [&] { return messages.size() >= count; }));
    return messages;
  }
  /// Waits until `phase` was told `times` times; the state that was told last of these.
  ConnectionState WaitFor(Phase phase, int times = 1) {
    std::unique_lock lock(mutex);
    ConnectionState found;
    const auto seen = [&] {
      int count = 0;
      for (const auto& state : states) {
        if (state.phase == phase && count < times) found = state;
        if (state.phase == phase) ++count;
      }
      return count >= times;
    };
    EXPECT_TRUE(changed.wait_for(lock, test::patience, seen));
    return found;
  }

 private:
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<Message> messages;
  std::vector<ConnectionState> states;
};

class FeedTest : public testing::Test {
 protected:
  FeedSettings Settings(bool reconnect = true, std::vector<Stream> streams = {Stream::fast}) const {
    return {address, std::move(streams), reconnect};
  }

  const test::TempDir folder;
  const std::string address = folder.UnixAddress();
  Notebook notebook;
};

}  // namespace

TEST_F(FeedTest, HandsOverEachMessageInOrderWithItsBytes) {
  test::FakeDevice device(address);
  for (int i = 0; i < 50; ++i) device.SendLevel(Stream::fast, "a/peak", static_cast<float>(-i));
  const Feed feed(Settings(), notebook);
  const auto messages = notebook.WaitForMessages(50);
  for (std::size_t i = 0; i < 50; ++i) {
    EXPECT_EQ(messages[i].entries, (std::vector<Entry>{{"a/peak", static_cast<float>(-static_cast<int>(i))}}));
    EXPECT_TRUE(messages[i].valid);
    EXPECT_EQ(messages[i].bytes.size(), 17U);
  }
}

TEST_F(FeedTest, ReadsAllStreamsAtOnce) {
  test::FakeDevice device(address);
  const Feed feed(Settings(true, {allStreams.begin(), allStreams.end()}), notebook);
  notebook.WaitFor(Phase::connected);
  for (const Stream stream : allStreams) device.SendLevel(stream, nameOf(stream), 1);
  for (const Message& message : notebook.WaitForMessages(3)) {
    EXPECT_EQ(message.entries.at(0).key, nameOf(message.stream));
  }
}

TEST_F(FeedTest, AMessageThatIsNotUtf8IsReportedAndTheStreamGoesOn) {
  test::FakeDevice device(address);
  device.SendLevel(Stream::fast, "bad\xFFkey", 1);
  device.SendLevel(Stream::fast, "good", 2);
  const Feed feed(Settings(false), notebook);
  const auto messages = notebook.WaitForMessages(2);
  EXPECT_FALSE(messages[0].valid);
  EXPECT_THAT(messages[0].bytes, HasSubstr("bad\xFFkey"));
  EXPECT_TRUE(messages[1].valid);
}

TEST_F(FeedTest, WithoutReconnectSaysThatNothingAnswers) {
  const Feed feed(Settings(false), notebook);
  const ConnectionState state = notebook.WaitFor(Phase::ended);
  EXPECT_FALSE(state.everConnected || state.hadConnection);
  EXPECT_THAT(state.reason, HasSubstr("No such file or directory"));
}

TEST_F(FeedTest, WithoutReconnectSaysHowTheServerEnded) {
  test::FakeDevice device(address);
  const Feed feed(Settings(false), notebook);
  notebook.WaitFor(Phase::connected);
  device.End(::grpc::Status(::grpc::StatusCode::UNAVAILABLE, "going down"));
  const ConnectionState state = notebook.WaitFor(Phase::ended);
  EXPECT_TRUE(state.everConnected && state.hadConnection);
  EXPECT_EQ(state.reason, "the server ended the stream 'fast' with UNAVAILABLE: going down");
}

TEST_F(FeedTest, ConnectsToAServerThatComesLater) {
  const Feed feed(Settings(), notebook);
  EXPECT_FALSE(notebook.WaitFor(Phase::waiting).hadConnection);
  test::FakeDevice device(address);
  device.SendLevel(Stream::fast, "a", 1);
  notebook.WaitForMessages(1);
}

TEST_F(FeedTest, ComesBackAfterTheServerEndedTheStreams) {
  test::FakeDevice device(address);
  device.SendLevel(Stream::fast, "a", 1);
  const Feed feed(Settings(), notebook);
  notebook.WaitForMessages(1);
  device.End(::grpc::Status::CANCELLED);
  const ConnectionState state = notebook.WaitFor(Phase::waiting);
  EXPECT_TRUE(state.hadConnection);
  EXPECT_EQ(state.reason, "the server ended the stream 'fast' with CANCELLED");
  EXPECT_GT(state.delay.count(), 0);
  device.Reopen();
  notebook.WaitForMessages(2);
}

TEST_F(FeedTest, ComesBackToAServerThatWasRestarted) {
  const Feed feed(Settings(), notebook);
  for (std::size_t life = 1; life <= 2; ++life) {
    test::FakeDevice device(address);
    device.SendLevel(Stream::fast, "a", 1);
    notebook.WaitForMessages(life);
  }
}

TEST_F(FeedTest, EndsAtOnceWhileItWaits) {
  std::optional<Feed> feed(std::in_place, Settings(), notebook);
  const auto delay = notebook.WaitFor(Phase::waiting, 2).delay;
  const auto begin = std::chrono::steady_clock::now();
  feed.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, delay / 2);
}

TEST(Backoff, DoublesUpToItsLimitWithAQuarterOfJitter) {
  Backoff backoff(1);
  double expected = static_cast<double>(Backoff::first.count());
  for (int i = 0; i < 10; ++i) {
    const auto delay = static_cast<double>(backoff.Next().count());
    EXPECT_GE(delay, expected * 0.749);
    EXPECT_LE(delay, expected * 1.251);
    expected = std::min(expected * 2, static_cast<double>(Backoff::limit.count()));
  }
  backoff.Reset();
  EXPECT_LE(backoff.Next().count(), Backoff::first.count() * 1.251);
}

TEST(Backoff, DiffersBetweenClients) {
  std::set<Backoff::Milliseconds> delays;
  for (uint64_t seed = 0; seed < 20; ++seed) delays.insert(Backoff(seed).Next());
  EXPECT_GT(delays.size(), 10U);
}

}  // namespace monitor
