// A feed may be destroyed at any moment: nothing of it runs afterwards.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <stop_token>
#include <thread>
#include <vector>

#include "Notebook.h"
#include "client/Feed.h"
#include "support/FakeDevice.h"
#include "support/SilentServer.h"
#include "support/TempDir.h"

namespace corvalux::client {

namespace {

constexpr int rounds = 50;

/// Fails when a feed calls it after its end.
class Guarded : public Notebook {
 public:
  ~Guarded() override { EXPECT_FALSE(calledAfterEnd); }

  void Take(Message message) override {
    calledAfterEnd = calledAfterEnd || ended;
    Notebook::Take(std::move(message));
  }
  void Change(const ConnectionState& state) override {
    calledAfterEnd = calledAfterEnd || ended;
    Notebook::Change(state);
  }
  void End() { ended = true; }

 private:
  std::atomic<bool> ended = false;
  std::atomic<bool> calledAfterEnd = false;
};

class Lifetime : public testing::Test {
 protected:
  FeedSettings Settings() const { return {address, {allStreams.begin(), allStreams.end()}}; }

  const test::TempDir folder;
  const std::string address = folder.UnixAddress();
};

/// Sends to all streams without a pause.
std::jthread busy(test::FakeDevice& device) {
  return std::jthread([&device](const std::stop_token& stop) {
    for (float level = 0; !stop.stop_requested() && level < 20'000; ++level) {
      for (const Stream stream : allStreams) device.SendLevel(stream, "a", level);
    }
  });
}

}  // namespace

TEST_F(Lifetime, EndsWhileItConnects) {
  const test::SilentServer server(folder.Path() / "socket");
  for (int i = 0; i < rounds; ++i) {
    Notebook notebook;
    const Feed feed(Settings(), notebook);
    if (i % 2 == 0) notebook.WaitFor(Phase::connecting);
  }
}

TEST_F(Lifetime, EndsWhileNothingAnswers) {
  for (int i = 0; i < rounds; ++i) {
    Notebook notebook;
    const Feed feed(Settings(), notebook);
    if (i % 2 == 0) notebook.WaitFor(Phase::waiting);
  }
}

TEST_F(Lifetime, EndsWhileMessagesArrive) {
  test::FakeDevice device(address);
  const auto sender = busy(device);
  for (std::size_t i = 0; i < rounds; ++i) {
    Guarded guarded;
    {
      const Feed feed(Settings(), guarded);
      guarded.WaitForMessages(i);
    }
    guarded.End();
  }
}

TEST_F(Lifetime, EndsInTheMomentInWhichTheServerEndsTheStreams) {
  test::FakeDevice device(address);
  for (int i = 0; i < rounds; ++i) {
    Notebook notebook;
    auto feed = std::make_unique<Feed>(Settings(), notebook);
    notebook.WaitFor(Phase::connected);
    const std::jthread server([&device] { device.End(::grpc::Status::OK); });
    feed.reset();
    device.Reopen();
  }
}

TEST_F(Lifetime, EndsWithTheDeviceThatItReads) {
  for (int i = 0; i < rounds / 5; ++i) {
    auto device = std::make_unique<test::FakeDevice>(address);
    auto sender = busy(*device);
    Notebook notebook;
    auto feed = std::make_unique<Feed>(Settings(), notebook);
    notebook.WaitForMessages(3);
    sender = {};
    const std::jthread server([&device] { device.reset(); });
    feed.reset();
  }
}

TEST_F(Lifetime, TheEndWaitsForTheListener) {
  class Slow : public Listener {
   public:
    void Take(Message /*message*/) override {
      entered.set_value();
      released.get_future().wait();
    }
    void Change(const ConnectionState& /*state*/) override {}

    std::promise<void> entered;
    std::promise<void> released;
  } slow;
  test::FakeDevice device(address);
  device.SendLevel(Stream::fast, "a", 1);
  auto feed = std::make_unique<Feed>(Settings(), slow);
  slow.entered.get_future().wait();
  const auto end = std::async(std::launch::async, [&feed] { feed.reset(); });
  EXPECT_EQ(end.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
  slow.released.set_value();
  EXPECT_EQ(end.wait_for(test::patience), std::future_status::ready);
}

TEST_F(Lifetime, ManyFeedsComeAndGoTogether) {
  test::FakeDevice device(address);
  device.SendLevel(Stream::fast, "a", 1);
  Guarded guarded;
  {
    std::vector<std::unique_ptr<Feed>> feeds;
    for (int i = 0; i < rounds; ++i) feeds.push_back(std::make_unique<Feed>(Settings(), guarded));
    guarded.WaitForMessages(rounds);
  }
  guarded.End();
}

}  // namespace corvalux::client
