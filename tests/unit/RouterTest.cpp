// Which service gets a call, and how the streams are closed when the module stops.
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "module/grpc/grpc.h"
#include "support/TimeOf.h"
#include "unit/ServicesFixture.h"

namespace {

using namespace std::chrono_literals;
using corvalux::grpc::GrpcGenericRouter;
using test::changesMethod;
using test::fastMethod;
using test::ScriptedStream;
using test::slowMethod;
using testing::IsEmpty;

// See RouterSleepTest for how long a close waits exactly.
constexpr auto closeLimit = 2000ms;
constexpr auto closePoll = 50ms;

class Router : public test::ServicesFixture {
 protected:
  std::optional<GrpcGenericRouter> router{std::in_place, meters, notifications};
};

TEST_F(Router, MetersMethodsGoToTheMetersService) {
  const ScriptedStream fastStream(Open(*router, fastMethod));
  const ScriptedStream slowStream(Open(*router, slowMethod));
  EXPECT_TRUE(fast.HasSubscribers());
  EXPECT_TRUE(slow.HasSubscribers());
  EXPECT_FALSE(meters->Empty());
  EXPECT_TRUE(notifications->Empty());
}

TEST_F(Router, NotificationsMethodGoesToTheNotificationsService) {
  const ScriptedStream stream(Open(*router, changesMethod));
  EXPECT_TRUE(changes.HasSubscribers());
  EXPECT_FALSE(notifications->Empty());
  EXPECT_TRUE(meters->Empty());
}

TEST_F(Router, OtherMethodsAreUnimplemented) {
  for (const char* method : {"/corvalux.grpc.meters/GetMetersFast", "/corvalux.grpc.Meters/", "/corvalux.grpc.Meters",
                             "/corvalux.grpc.Notifications/", "/corvalux.grpc.notifications/GetNotifications",
                             " /corvalux.grpc.Meters/GetMetersFast", "/other.Service/Method", "/", ""}) {
    ExpectUnimplemented(*router, method);
  }
}

TEST_F(Router, WithoutMetersServiceItsMethodsAreUnimplemented) {
  GrpcGenericRouter half(nullptr, notifications);
  ExpectUnimplemented(half, fastMethod);
  const ScriptedStream stream(Open(half, changesMethod));
  EXPECT_TRUE(changes.HasSubscribers());
  notifications.reset();
}

TEST_F(Router, WithoutNotificationsServiceItsMethodIsUnimplemented) {
  GrpcGenericRouter half(meters, nullptr);
  ExpectUnimplemented(half, changesMethod);
}

TEST_F(Router, CloseWithoutStreamsDoesNotSleep) {
  constexpr int times = 20;
  EXPECT_LT(test::timeOf([this] {
              for (int i = 0; i < times; ++i) router->CloseStreams();
            }),
            times * closePoll);
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(Router, CloseWithoutServicesDoesNothing) {
  GrpcGenericRouter empty(nullptr, nullptr);
  empty.CloseStreams();
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(Router, CloseRefusesFurtherCalls) {
  router->CloseStreams();
  EXPECT_EQ(Open(*router, fastMethod), nullptr);
  EXPECT_EQ(Open(*router, changesMethod), nullptr);
}

TEST_F(Router, CloseFinishesEveryStreamAndReturnsWhenTheyHaveEnded) {
  ScriptedStream fastStream(Open(*router, fastMethod));
  ScriptedStream slowStream(Open(*router, slowMethod));
  ScriptedStream changesStream(Open(*router, changesMethod));
  const std::jthread library([&] {
    for (ScriptedStream* stream : {&fastStream, &slowStream, &changesStream}) {
      EXPECT_TRUE(stream->WaitForFinish());
      EXPECT_EQ(stream->Finishes().at(0).error_code(), grpc::StatusCode::CANCELLED);
      stream->Done();
    }
  });
  EXPECT_LT(test::timeOf([this] { router->CloseStreams(); }), closeLimit);
  EXPECT_TRUE(meters->Empty());
  EXPECT_TRUE(notifications->Empty());
}

TEST_F(Router, CloseTurnsToNotificationsWhenTheMetersHaveEnded) {
  ScriptedStream fastStream(Open(*router, fastMethod));
  ScriptedStream changesStream(Open(*router, changesMethod));
  const std::jthread library([&] {
    EXPECT_TRUE(fastStream.WaitForFinish());
    EXPECT_THAT(changesStream.Finishes(), IsEmpty());
    fastStream.Done();
    EXPECT_TRUE(changesStream.WaitForFinish());
    changesStream.Done();
  });
  router->CloseStreams();
}

TEST_F(Router, SecondCloseFindsNothingToDo) {
  ScriptedStream stream(Open(*router, fastMethod));
  const std::jthread library([&] {
    EXPECT_TRUE(stream.WaitForFinish());
    stream.Done();
  });
  router->CloseStreams();
  log.Clear();
  router->CloseStreams();
  EXPECT_THAT(log.Texts(), IsEmpty());
  EXPECT_EQ(stream.Finishes().size(), 1U);
}

TEST_F(Router, DestructorClosesTheStreams) {
  ScriptedStream stream(Open(*router, fastMethod));
  const std::jthread library([&] {
    EXPECT_TRUE(stream.WaitForFinish());
    stream.Done();
  });
  router.reset();
  EXPECT_EQ(stream.Finishes().size(), 1U);
  EXPECT_EQ(Open(*meters, fastMethod), nullptr);
}

TEST_F(Router, DestructorDropsTheNotificationsServiceFirst) {
  meters.reset();
  notifications.reset();
  EXPECT_THAT(log.Texts(), IsEmpty());
  router.reset();
  EXPECT_THAT(log.Texts(),
              testing::ElementsAre("1 destroying gRPC Notifications service", "1 destroying gRPC Meters service"));
}

}  // namespace
