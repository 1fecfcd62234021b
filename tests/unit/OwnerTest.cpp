// What every service does with its streams.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "unit/PublisherFixture.h"

namespace {

using test::Call;
using test::Probe;
using testing::ElementsAre;
using testing::IsEmpty;

class Owner : public test::PublisherFixture<Probe> {};

TEST_F(Owner, StreamIsSubscribedAndListedOnce) {
  EXPECT_TRUE(owner->Empty());
  Call client(Subscribe());
  EXPECT_FALSE(owner->Empty());
  EXPECT_TRUE(publisher.Remove(client.reactor));
  EXPECT_FALSE(publisher.Remove(client.reactor));
  client.stream.Done();
  EXPECT_TRUE(owner->Empty());
}

TEST_F(Owner, StreamKeepsTheNewestMessageOnly) {
  Call client(Subscribe());
  Probe probe;
  for (const char* body : {"a", "b", "c"}) {
    probe.body = body;
    publisher.Publish(probe);
  }
  client.stream.CompleteWrite();
  EXPECT_THAT(client.stream.Sent(), ElementsAre("a", "c"));
}

TEST_F(Owner, RefusesStreamsOnceItIsClosing) {
  owner->FinishAll();
  EXPECT_EQ(Subscribe(), nullptr);
  EXPECT_FALSE(publisher.HasSubscribers());
  EXPECT_TRUE(owner->Empty());
  owner->FinishAll();
  EXPECT_EQ(Subscribe(), nullptr);
}

TEST_F(Owner, WithoutSharedOwnershipCreatesNoStream) {
  test::TestOwner<Probe> unshared;
  EXPECT_THROW(unshared.CreateStream(&publisher), std::bad_weak_ptr);
  EXPECT_FALSE(publisher.HasSubscribers());
  EXPECT_TRUE(unshared.Empty());  // its mutex is released
}

TEST_F(Owner, DoneOfAnAbsentStreamChangesNothing) {
  Call client(Subscribe());
  Call stranger(Stranger());
  stranger.stream.Done();
  EXPECT_FALSE(owner->Empty());
}

TEST_F(Owner, FinishesStreamsInTheOrderInWhichTheyWereOpened) {
  std::vector<std::string> expected;
  Call first(Subscribe());
  Call second(Subscribe());
  Call third(Subscribe());
  for (const auto* client : {&first, &second, &third}) {
    char text[64];
    std::snprintf(text, sizeof text, "1 calling Finish on reactor %p", static_cast<const void*>(client->reactor));
    expected.emplace_back(text);
  }
  owner->FinishAll();
  auto lines = log.Texts();
  std::erase_if(lines, [](const auto& line) { return line.find("calling Finish") == std::string::npos; });
  EXPECT_EQ(lines, expected);
}

TEST_F(Owner, FinishedStreamStaysListedUntilItIsDone) {
  Call client(Subscribe());
  owner->FinishAll();
  EXPECT_EQ(client.stream.Finishes().size(), 1U);
  EXPECT_FALSE(owner->Empty());
  client.stream.Done();
  EXPECT_TRUE(owner->Empty());
}

TEST_F(Owner, FinishingNothingLogsNothing) {
  owner->FinishAll();
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(Owner, LivesUntilItsLastStreamIsGone) {
  Call first(Subscribe());
  Call second(Subscribe());
  const std::weak_ptr<void> watch = owner;
  owner.reset();
  first.stream.Done();
  EXPECT_FALSE(watch.expired());
  second.stream.Done();
  EXPECT_TRUE(watch.expired());
}

}  // namespace
