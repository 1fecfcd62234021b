// A stream on the threads of the engine, the library and the host at once. Run under the thread sanitizer, too.
#include <barrier>
#include <string>
#include <thread>

#include "unit/ReactorFixture.h"

namespace {

using corvalux::grpc::Meter;
using testing::ElementsAre;

class ReactorThreads : public test::ReactorFixture {};

// The mock fails the test when a write starts while another one is outstanding.
TEST_F(ReactorThreads, OneWriteIsOutstandingWhileWritesAndCompletionsRace) {
  constexpr int rounds = 3000;
  const std::jthread library([this] {
    for (std::string last; last != "newest"; stream.CompleteWrite()) {
      ASSERT_TRUE(stream.WaitForWrite());
      last = stream.LastSent();
    }
  });
  const auto write = [this] {
    for (int i = 0; i < rounds; ++i) Write("message");
  };
  {
    const std::jthread engine(write);
    const std::jthread otherEngine(write);
  }
  Write("newest");
}

TEST_F(ReactorThreads, ShutdownRacingWithCancelAndAFailedWriteFinishesOnce) {
  for (int round = 0; round < 100; ++round) {
    test::Call<Meter> client(owner->CreateStream(&publisher));
    client.reactor->Write(test::bufferOf("message"));
    std::barrier start(3);
    {
      const std::jthread host([&] { start.arrive_and_wait(), client.reactor->FinishAndRemove(); });
      const std::jthread library([&] { start.arrive_and_wait(), client.stream.Cancel(); });
      const std::jthread otherLibrary([&] { start.arrive_and_wait(), client.stream.CompleteWrite(false); });
    }
    EXPECT_EQ(client.stream.Finishes().size(), 1U);
    EXPECT_EQ(log.Count(1, "calling Finish on reactor"), 1U);
    EXPECT_EQ(log.Count(1, "!! Finish called on reactor which was already removed"), 2U);
    log.Clear();
  }
}

TEST_F(ReactorThreads, FailedWriteRacingWithWritesDropsWhatWasPending) {
  for (int round = 0; round < 300; ++round) {
    test::Call<Meter> client(owner->CreateStream(&publisher));
    client.reactor->Write(test::bufferOf("first"));
    client.reactor->Write(test::bufferOf("pending"));
    std::barrier start(2);
    {
      const std::jthread library([&] { start.arrive_and_wait(), client.stream.CompleteWrite(false); });
      const std::jthread engine([&] {
        start.arrive_and_wait();
        for (int i = 0; i < 20; ++i) client.reactor->Write(test::bufferOf("new"));
      });
    }
    // One that comes before the stream is marked finished may still be started.
    EXPECT_THAT(client.stream.Sent(), testing::AnyOf(ElementsAre("first"), ElementsAre("first", "new")));
    if (client.stream.Writing()) client.stream.CompleteWrite(false);
    EXPECT_FALSE(client.stream.Writing());
    EXPECT_EQ(client.stream.Finishes().size(), 1U);
  }
  EXPECT_TRUE(Subscribed());  // the fixture's own stream, and no other
  publisher.Remove(reactor);
  EXPECT_FALSE(Subscribed());
}

TEST_F(ReactorThreads, CancelRacingWithWritesDropsTheRest) {
  const std::jthread engine([this] {
    for (int i = 0; i < 2000; ++i) Write("message");
  });
  ASSERT_TRUE(stream.WaitForWrite());
  stream.Cancel();
  stream.CompleteWrite(false);
  EXPECT_FALSE(stream.Writing());
  EXPECT_EQ(stream.Sent().size(), 1U);
}

}  // namespace
