// The publisher and its streams on many threads at once. Run under the thread sanitizer, too.
#include <atomic>
#include <barrier>
#include <memory>
#include <thread>
#include <vector>

#include "unit/PublisherFixture.h"

namespace {

using test::Call;
using test::Probe;

class PublisherThreads : public test::PublisherFixture<Probe> {
 protected:
  /// Publishes until stopped.
  std::jthread PublishingThread() {
    return std::jthread([this](const std::stop_token& stop) {
      while (!stop.stop_requested()) publisher.Publish(probe);
    });
  }

  /// Subscribes, waits for a message, and cancels while that message is being written.
  void VisitOnce() {
    Call client(Subscribe());
    EXPECT_TRUE(client.stream.WaitForWrite());
    client.stream.Cancel();
    client.stream.CompleteWrite(false);
    EXPECT_EQ(client.stream.Finishes().size(), 1U);
    client.stream.Done();
  }

  const Probe probe;
};

TEST_F(PublisherThreads, ClientsComeAndGoWhileMessagesArePublished) {
  constexpr int visits = 100;
  {
    const auto engineThread = PublishingThread();
    const auto otherEngineThread = PublishingThread();
    const auto visit = [this] {
      for (int i = 0; i < visits; ++i) VisitOnce();
    };
    const std::jthread clients(visit);
    const std::jthread otherClients(visit);
  }
  EXPECT_FALSE(publisher.HasSubscribers());
  EXPECT_TRUE(owner->Empty());
  EXPECT_EQ(probe.Bodies(), 0);
}

TEST_F(PublisherThreads, OnlyOneOfManyRemovesAnswersTrue) {
  for (int round = 0; round < 100; ++round) {
    Call client(Subscribe());
    std::barrier start(3);
    std::atomic<int> removed = 0;
    const auto remove = [&] {
      start.arrive_and_wait();
      if (publisher.Remove(client.reactor)) ++removed;
    };
    {
      const std::jthread first(remove);
      const std::jthread second(remove);
      const std::jthread third(remove);
    }
    EXPECT_EQ(removed, 1);
  }
}

TEST_F(PublisherThreads, StopEndsEveryStreamThatIsOpenedWhileItBegins) {
  constexpr std::size_t most = 30;  // ends the loop if the stop does not
  for (int round = 0; round < 300; ++round) {
    const auto service = std::make_shared<test::TestOwner<Probe>>();
    std::vector<Stream*> opened;
    std::atomic<bool> begun = false;
    {
      const std::jthread library([&] {
        for (bool refused = false; !refused && opened.size() < most; begun = true) {
          Stream* const stream = service->CreateStream(&publisher);
          refused = !stream;
          if (stream) opened.push_back(stream);
        }
      });
      while (!begun) std::this_thread::yield();
      service->FinishAll();
    }
    EXPECT_FALSE(publisher.HasSubscribers());
    for (Stream* stream : opened) EXPECT_EQ(Call<Probe>(stream).stream.Finishes().size(), 1U);
    EXPECT_TRUE(service->Empty());
    log.Clear();
  }
}

TEST_F(PublisherThreads, StopEndsAllStreamsWhileMessagesArePublished) {
  Call first(Subscribe());
  Call second(Subscribe());
  {
    const auto engineThread = PublishingThread();
    EXPECT_TRUE(first.stream.WaitForWrite());
    EXPECT_TRUE(second.stream.WaitForWrite());
    owner->FinishAll();
  }
  EXPECT_FALSE(publisher.HasSubscribers());
  EXPECT_EQ(first.stream.Finishes().size(), 1U);
  EXPECT_EQ(second.stream.Finishes().size(), 1U);
}

}  // namespace
