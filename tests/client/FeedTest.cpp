#include "client/Feed.h"

#include <gmock/gmock.h>
#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server_builder.h>

#include <atomic>
#include <optional>

#include "Notebook.h"
#include "support/FakeDevice.h"
#include "support/SilentServer.h"
#include "support/TempDir.h"

namespace corvalux::client {

namespace {

using testing::HasSubstr;

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

TEST_F(FeedTest, ATextThatIsNotUtf8CostsOnlyItself) {
  test::FakeDevice device(address);
  device.SendLevel(Stream::fast, "bad\xFFkey", 1);
  const Feed feed(Settings(false), notebook);
  const Message message = notebook.WaitForMessages(1).at(0);
  EXPECT_TRUE(message.valid);
  EXPECT_EQ(message.entries, (std::vector<Entry>{{"bad\uFFFDkey", 1.0F}}));
  EXPECT_EQ(message.repairedTexts, 1U);
  EXPECT_THAT(message.bytes, HasSubstr("bad\xFFkey"));
}

TEST_F(FeedTest, ADamagedMessageIsMarkedAndTheStreamGoesOn) {
  test::FakeDevice device(address);
  device.SendBytes(Stream::fast, "\x0A\x7F");
  device.SendLevel(Stream::fast, "good", 2);
  const Feed feed(Settings(false), notebook);
  const auto messages = notebook.WaitForMessages(2);
  EXPECT_FALSE(messages[0].valid);
  EXPECT_EQ(messages[0].bytes, "\x0A\x7F");
  EXPECT_TRUE(messages[1].valid);
}

TEST_F(FeedTest, EveryConnectionBeginsBeforeItsMessages) {
  class Order : public Notebook {
   public:
    void Take(Message message) override {
      ordered = ordered && connected;
      Notebook::Take(std::move(message));
    }
    void Change(const ConnectionState& state) override {
      connected = state.phase == Phase::connected;
      Notebook::Change(state);
    }
    std::atomic<bool> connected = false;
    std::atomic<bool> ordered = true;
  } order;
  for (int life = 0; life < 20; ++life) {
    test::FakeDevice device(address);
    device.SendLevel(Stream::fast, "a", 1);
    const Feed feed(Settings(), order);
    order.WaitForMessages(static_cast<std::size_t>(life) + 1);
  }
  EXPECT_TRUE(order.ordered);
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

TEST_F(FeedTest, TheStreamsOfAConnectionEndTogether) {
  test::FakeDevice device(address);
  device.Refuse(Stream::slow);
  const Feed feed(Settings(true, {Stream::fast, Stream::slow}), notebook);
  const ConnectionState state = notebook.WaitFor(Phase::waiting);
  EXPECT_EQ(state.reason, "the server ended the stream 'slow' with UNIMPLEMENTED");
}

TEST_F(FeedTest, AMessageMakesTheNextDelayShortAgain) {
  test::FakeDevice device(address);
  device.End(::grpc::Status::OK);
  const Feed feed(Settings(), notebook);
  notebook.WaitFor(Phase::waiting, 2);
  device.SendLevel(Stream::fast, "a", 1);
  device.Reopen();
  notebook.WaitForMessages(1);
  device.End(::grpc::Status::OK);
  EXPECT_LE(notebook.WaitFor(Phase::waiting, 3).delay, Backoff::first * 5 / 4);
}

TEST_F(FeedTest, EndsAtOnceWhileItWaits) {
  std::optional<Feed> feed(std::in_place, Settings(), notebook);
  const auto delay = notebook.WaitFor(Phase::waiting, 2).delay;
  const auto begin = std::chrono::steady_clock::now();
  feed.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, delay / 2);
}

TEST_F(FeedTest, ServerThatRefusesTheMethodWasReached) {
  ::grpc::ServerBuilder builder;
  builder.AddListeningPort(address, ::grpc::InsecureServerCredentials());
  ::grpc::CallbackGenericService none;
  builder.RegisterCallbackGenericService(&none);
  const auto server = builder.BuildAndStart();
  for (int i = 0; i < 50; ++i) {  // the refusal may come before or after the request has left
    Notebook refused;
    const Feed feed(Settings(false), refused);
    const ConnectionState state = refused.WaitFor(Phase::ended);
    EXPECT_TRUE(state.hadConnection);
    EXPECT_EQ(state.reason, "the server ended the stream 'fast' with UNIMPLEMENTED");
  }
  server->Shutdown();
}

TEST_F(FeedTest, GivesUpAServerThatAcceptsAndSaysNothing) {
  const test::SilentServer server(folder.Path() / "socket");
  FeedSettings settings = Settings(false);
  settings.connectTimeout = std::chrono::milliseconds(250);
  const Feed feed(settings, notebook);
  const ConnectionState state = notebook.WaitFor(Phase::ended);
  EXPECT_EQ(state.reason, "no answer within 0.25 s");
  EXPECT_FALSE(state.hadConnection);
}

}  // namespace corvalux::client
