// Hand-outs of three publishers at once, whose writes two threads of the library complete. Run under the thread
// sanitizer, too.
#include <algorithm>
#include <array>
#include <deque>
#include <thread>
#include <vector>

#include "support/Eventually.h"
#include "unit/PublisherFixture.h"

namespace {

using test::Call;
using test::Probe;

class HandOutThreads : public test::PublisherFixture<Probe> {
 protected:
  using Publisher = corvalux::grpc::PublisherGeneric<Probe>;

  HandOutThreads() {
    for (int i = 0; i < clientsEach; ++i) {
      for (Publisher& each : publishers) clients.emplace_back(owner->CreateStream(&each));
    }
  }

  static Probe newest() {
    Probe probe;
    probe.body = "newest";
    return probe;
  }

  static std::jthread EngineThread(Publisher& publisher) {
    return std::jthread([&publisher] {
      for (int i = 0; i < 300; ++i) publisher.Publish({});
      publisher.Publish(newest());
    });
  }

  /// Completes the writes of every second client, whichever publisher they are from.
  std::jthread LibraryThread(std::size_t first) {
    return std::jthread([this, first](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
        for (std::size_t i = first; i < clients.size(); i += 2) {
          if (clients[i].stream.Writing()) clients[i].stream.CompleteWrite();
        }
      }
    });
  }

  /// Subscribes to one publisher after the other, and each time cancels while the first message is being written.
  void Visit(int visits) {
    for (int i = 0; i < visits; ++i) {
      Call client(owner->CreateStream(&publishers.at(static_cast<std::size_t>(i) % publishers.size())));
      publishers.at(static_cast<std::size_t>(i) % publishers.size()).Publish({});
      EXPECT_TRUE(client.stream.WaitForWrite());
      client.stream.Cancel();
      client.stream.CompleteWrite(false);
      EXPECT_EQ(client.stream.Finishes().size(), 1U);
      client.stream.Done();
    }
  }

  bool AllHaveTheNewest() const {
    return std::all_of(clients.begin(), clients.end(),
                       [](auto& client) { return client.stream.LastSent() == "newest"; });
  }

  static constexpr int clientsEach = 5;

  std::array<Publisher, 3> publishers;
  std::deque<Call<Probe>> clients;
};

TEST_F(HandOutThreads, ReachAllClientsOfThreePublishers) {
  const std::jthread library = LibraryThread(0);
  const std::jthread otherLibrary = LibraryThread(1);
  std::vector<std::jthread> engine;
  for (Publisher& each : publishers) engine.push_back(EngineThread(each));
  engine.clear();
  EXPECT_TRUE(test::eventually([this] { return AllHaveTheNewest(); }));
}

TEST_F(HandOutThreads, OverlapWithClientsThatComeAndGo) {
  const std::jthread library = LibraryThread(0);
  const std::jthread otherLibrary = LibraryThread(1);
  {
    std::vector<std::jthread> engine;
    for (Publisher& each : publishers) engine.push_back(EngineThread(each));
    Visit(100);
  }
  for (Publisher& each : publishers) each.Publish(newest());
  EXPECT_TRUE(test::eventually([this] { return AllHaveTheNewest(); }));
}

}  // namespace
