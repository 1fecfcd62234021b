// Who gets a message, how often it is serialised, and how long its bytes live.
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/Deadline.h"
#include "unit/PublisherFixture.h"

namespace {

using test::Call;
using test::Probe;
using testing::ElementsAre;
using testing::IsEmpty;

class Publisher : public test::PublisherFixture<Probe> {
 protected:
  Probe probe;
};

TEST_F(Publisher, WithoutSubscribersSerialisesNothing) {
  EXPECT_FALSE(publisher.HasSubscribers());
  publisher.Publish(probe);
  EXPECT_EQ(probe.Serialised(), 0);
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(Publisher, AfterTheLastRemoveSerialisesNothing) {
  Call client(Subscribe());
  EXPECT_TRUE(publisher.HasSubscribers());
  EXPECT_TRUE(publisher.Remove(client.reactor));
  EXPECT_FALSE(publisher.HasSubscribers());
  publisher.Publish(probe);
  EXPECT_EQ(probe.Serialised(), 0);
}

TEST_F(Publisher, AddingTwiceLeavesOneEntry) {
  Call client(Subscribe());
  publisher.Add(client.reactor);
  publisher.Publish(probe);
  client.stream.CompleteWrite();
  EXPECT_THAT(client.stream.Sent(), ElementsAre("probe"));
  EXPECT_TRUE(publisher.Remove(client.reactor));
  EXPECT_FALSE(publisher.HasSubscribers());
  EXPECT_FALSE(publisher.Remove(client.reactor));
}

TEST_F(Publisher, RemoveOfAbsentReactorAnswersFalse) {
  Call subscribed(Subscribe());
  Call stranger(Stranger());
  EXPECT_FALSE(publisher.Remove(stranger.reactor));
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(Publisher, RemoveOfAbsentReactorLeavesHasSubscribers) {
  Call stranger(Stranger());
  publisher.Remove(stranger.reactor);
  EXPECT_FALSE(publisher.HasSubscribers());
  Call subscribed(Subscribe());
  publisher.Remove(stranger.reactor);
  EXPECT_TRUE(publisher.HasSubscribers());
}

TEST_F(Publisher, RemoveOfOneOfTwoKeepsTheOther) {
  Call leaving(Subscribe());
  Call staying(Subscribe());
  EXPECT_TRUE(publisher.Remove(leaving.reactor));
  EXPECT_TRUE(publisher.HasSubscribers());
  publisher.Publish(probe);
  EXPECT_THAT(leaving.stream.Sent(), IsEmpty());
  EXPECT_THAT(staying.stream.Sent(), ElementsAre("probe"));
}

TEST_F(Publisher, SubscribingAgainAfterTheLastHasLeftWorks) {
  Call client(Subscribe());
  publisher.Remove(client.reactor);
  publisher.Add(client.reactor);
  publisher.Publish(probe);
  EXPECT_THAT(client.stream.Sent(), ElementsAre("probe"));
}

TEST_F(Publisher, AllReceiveTheSameBufferFromOneSerialisation) {
  Call first(Subscribe());
  Call second(Subscribe());
  Call third(Subscribe());
  publisher.Publish(probe);
  EXPECT_EQ(probe.Serialised(), 1);
  EXPECT_EQ(probe.Bodies(), 1);
  EXPECT_EQ(first.stream.Writes().at(0).buffer, second.stream.Writes().at(0).buffer);
  EXPECT_EQ(first.stream.Writes().at(0).buffer, third.stream.Writes().at(0).buffer);
}

TEST_F(Publisher, BufferIsFreedWhenTheLastHasWrittenIt) {
  Call first(Subscribe());
  Call second(Subscribe());
  publisher.Publish(probe);
  first.stream.CompleteWrite();
  EXPECT_EQ(probe.Bodies(), 1);
  second.stream.CompleteWrite();
  EXPECT_EQ(probe.Bodies(), 0);
}

TEST_F(Publisher, HandsOutInOrderOfSubscription) {
  std::vector<std::string> order;
  Call first(Subscribe());
  Call second(Subscribe());
  Call third(Subscribe());
  first.stream.SetOnWrite([&] { order.emplace_back("first"); });
  second.stream.SetOnWrite([&] { order.emplace_back("second"); });
  third.stream.SetOnWrite([&] { order.emplace_back("third"); });
  publisher.Publish(probe);
  EXPECT_THAT(order, ElementsAre("first", "second", "third"));
  publisher.Remove(first.reactor);
  publisher.Add(first.reactor);
  for (auto* client : {&first, &second, &third}) client->stream.CompleteWrite();
  publisher.Publish(probe);
  EXPECT_THAT(order, ElementsAre("first", "second", "third", "second", "third", "first"));
}

TEST_F(Publisher, FailedSerialisationIsOneErrorLineAndReachesNobody) {
  Call first(Subscribe());
  Call second(Subscribe());
  probe.error = "Failed to serialize message";
  publisher.Publish(probe);
  EXPECT_THAT(log.Texts(), ElementsAre("4 Unable to serialize element: Failed to serialize message"));
  EXPECT_THAT(first.stream.Sent(), IsEmpty());
  EXPECT_THAT(second.stream.Sent(), IsEmpty());
}

TEST_F(Publisher, FailedSerialisationLosesThatMessageOnly) {
  Call client(Subscribe());
  Probe broken;
  broken.error = "broken";
  publisher.Publish(broken);
  EXPECT_TRUE(publisher.HasSubscribers());
  publisher.Publish(probe);
  EXPECT_THAT(client.stream.Sent(), ElementsAre("probe"));
}

TEST_F(Publisher, SerialisesWithoutItsMutex) {
  Call client(Subscribe());
  Call stranger(Stranger());
  bool locked = true;
  std::future<bool> removal;
  probe.onSerialise = [&] {
    removal = std::async(std::launch::async, [&] { return publisher.Remove(stranger.reactor); });
    locked = removal.wait_for(test::patience) != std::future_status::ready;
  };
  publisher.Publish(probe);
  EXPECT_FALSE(locked);
}

TEST_F(Publisher, AnswersWhetherItHasSubscribersWithoutItsMutex) {
  Call client(Subscribe());
  bool locked = true;
  std::future<bool> question;
  client.stream.SetOnWrite([&] {  // within Publish, which holds the mutex
    question = std::async(std::launch::async, [&] { return publisher.HasSubscribers(); });
    locked = question.wait_for(test::patience) != std::future_status::ready;
  });
  publisher.Publish(probe);
  EXPECT_FALSE(locked);
  EXPECT_TRUE(question.get());
}

TEST_F(Publisher, ClientThatSubscribesDuringSerialisationGetsTheMessage) {
  Call client(Subscribe());
  Call late(Stranger());
  probe.onSerialise = [&] { publisher.Add(late.reactor); };
  publisher.Publish(probe);
  EXPECT_THAT(late.stream.Sent(), ElementsAre("probe"));
}

TEST_F(Publisher, ClientThatLeavesDuringSerialisationGetsNothing) {
  Call client(Subscribe());
  probe.onSerialise = [&] { publisher.Remove(client.reactor); };
  publisher.Publish(probe);
  EXPECT_EQ(probe.Serialised(), 1);
  EXPECT_EQ(probe.Bodies(), 0);
  EXPECT_THAT(client.stream.Sent(), IsEmpty());
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(Publisher, WriteThatThrowsReleasesTheMutex) {
  Call client(Subscribe());
  client.stream.SetOnWrite([] { throw 42; });
  EXPECT_THROW(publisher.Publish(probe), int);
  EXPECT_TRUE(publisher.Remove(client.reactor));
}

TEST_F(Publisher, WriteThatFailsToStartDoesNotKeepTheMessageFromOthers) {
  Call failing(Subscribe());
  Call client(Subscribe());
  failing.stream.SetOnWrite([] { throw std::runtime_error("broken pipe"); });
  publisher.Publish(probe);
  EXPECT_THAT(client.stream.Sent(), ElementsAre("probe"));
}

TEST_F(Publisher, DestructionNeitherFinishesNorNotifiesAStream) {
  auto dying = std::make_unique<corvalux::grpc::PublisherGeneric<Probe>>();
  Call client(owner->CreateStream(dying.get()));
  dying.reset();
  EXPECT_THAT(client.stream.Finishes(), IsEmpty());
  EXPECT_THAT(log.Texts(), IsEmpty());
}

}  // namespace
