// Which call gets which stream, and how long a service lives.
#include <memory>
#include <string>

#include "unit/ServicesFixture.h"

namespace {

using test::changesMethod;
using test::fastMethod;
using test::ScriptedStream;
using test::slowMethod;
using testing::ElementsAre;
using testing::IsEmpty;

class MetersService : public test::ServicesFixture {};
class NotificationsService : public test::ServicesFixture {};

TEST_F(MetersService, FastMethodSubscribesToTheFastPublisher) {
  const ScriptedStream stream(Open(*meters, fastMethod));
  EXPECT_TRUE(fast.HasSubscribers());
  EXPECT_FALSE(slow.HasSubscribers());
  fast.Publish(Meter());
  EXPECT_THAT(stream.Sent(), ElementsAre(""));
}

TEST_F(MetersService, SlowMethodSubscribesToTheSlowPublisher) {
  const ScriptedStream stream(Open(*meters, slowMethod));
  EXPECT_FALSE(fast.HasSubscribers());
  EXPECT_TRUE(slow.HasSubscribers());
  slow.Publish(Meter());
  EXPECT_THAT(stream.Sent(), ElementsAre(""));
}

TEST(ServiceTexts, AreThreeInTheirOrder) {
  const corvalux::grpc::ServiceTexts texts;
  EXPECT_EQ(texts.internalError, "Internal server exception");
  EXPECT_EQ(texts.invalidParameters, "Invalid parameters");
  EXPECT_EQ(texts.operationFailed, "Operation failed");
  EXPECT_LT(&texts.internalError, &texts.invalidParameters);
  EXPECT_LT(&texts.invalidParameters, &texts.operationFailed);
}

TEST_F(MetersService, OtherNamesAreUnimplemented) {
  for (const char* method :
       {"/corvalux.grpc.Meters/", "/corvalux.grpc.Meters/GetMetersfast", "/corvalux.grpc.Meters/getMetersFast",
        "/corvalux.grpc.meters/GetMetersFast", "/corvalux.grpc.Meters/GetMetersFas",
        "/corvalux.grpc.Meters/GetMetersFast2", "/corvalux.grpc.Meters/GetMetersSlow/",
        "/corvalux.grpc.Meters/GetMetersSlo", "/corvalux.grpc.Meters/GetMetersBoth", ""}) {
    ExpectUnimplemented(*meters, method);
  }
  EXPECT_FALSE(fast.HasSubscribers());
  EXPECT_FALSE(slow.HasSubscribers());
  EXPECT_TRUE(meters->Empty());
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(MetersService, ClientThatSubscribesTwiceHasTwoIndependentStreams) {
  ScriptedStream first(Open(*meters, fastMethod));
  const ScriptedStream second(Open(*meters, fastMethod));
  fast.Publish(Meter());
  EXPECT_EQ(first.Sent().size(), 1U);
  EXPECT_EQ(second.Sent().size(), 1U);
  first.Cancel();
  EXPECT_EQ(first.Finishes().size(), 1U);
  EXPECT_THAT(second.Finishes(), IsEmpty());
  EXPECT_TRUE(fast.HasSubscribers());
}

TEST_F(MetersService, CallWhileClosingGetsNoReactor) {
  meters->FinishAll();
  EXPECT_EQ(Open(*meters, fastMethod), nullptr);
  EXPECT_EQ(Open(*meters, slowMethod), nullptr);
  EXPECT_FALSE(fast.HasSubscribers());
  ExpectUnimplemented(*meters, "/corvalux.grpc.Meters/");
}

TEST_F(MetersService, WithoutSharedOwnershipACallThrows) {
  corvalux::grpc::GrpcMetersServiceGeneric unshared(&fast, &slow);
  EXPECT_THROW(Open(unshared, fastMethod), std::bad_weak_ptr);
  EXPECT_FALSE(fast.HasSubscribers());
  EXPECT_TRUE(unshared.Empty());
}

TEST_F(MetersService, LogsItsDestruction) {
  meters.reset();
  EXPECT_THAT(log.Texts(), ElementsAre("1 destroying gRPC Meters service"));
  EXPECT_EQ(log.Lines().at(0).file, "src/module/grpc/GrpcMetersServiceGeneric.cpp");
}

TEST_F(MetersService, LivesUntilItsLastStreamIsGone) {
  ScriptedStream fastStream(Open(*meters, fastMethod));
  ScriptedStream slowStream(Open(*meters, slowMethod));
  meters.reset();
  fastStream.Done();
  EXPECT_EQ(log.Count(1, "destroying"), 0U);
  slowStream.Done();
  EXPECT_EQ(log.Texts().back(), "1 destroying gRPC Meters service");
}

TEST_F(NotificationsService, MethodSubscribesToThePublisher) {
  const ScriptedStream stream(Open(*notifications, changesMethod));
  EXPECT_TRUE(changes.HasSubscribers());
  changes.Publish(Notification());
  EXPECT_THAT(stream.Sent(), ElementsAre(""));
}

TEST_F(NotificationsService, OtherNamesAreUnimplemented) {
  for (const char* method :
       {"/corvalux.grpc.Notifications/", "/corvalux.grpc.Notifications/getNotifications",
        "/corvalux.grpc.notifications/GetNotifications", "/corvalux.grpc.Notifications/GetNotification",
        "/corvalux.grpc.Notifications/GetNotifications2", "/corvalux.grpc.Notifications/GetNotificationz", ""}) {
    ExpectUnimplemented(*notifications, method);
  }
  EXPECT_FALSE(changes.HasSubscribers());
  EXPECT_TRUE(notifications->Empty());
}

TEST_F(NotificationsService, CallWhileClosingGetsNoReactor) {
  notifications->FinishAll();
  EXPECT_EQ(Open(*notifications, changesMethod), nullptr);
  EXPECT_FALSE(changes.HasSubscribers());
}

TEST_F(NotificationsService, WithoutSharedOwnershipACallThrows) {
  corvalux::grpc::GrpcNotificationsServiceGeneric unshared(&changes);
  EXPECT_THROW(Open(unshared, changesMethod), std::bad_weak_ptr);
  EXPECT_FALSE(changes.HasSubscribers());
  EXPECT_TRUE(unshared.Empty());
}

TEST_F(NotificationsService, LivesUntilItsLastStreamIsGone) {
  ScriptedStream stream(Open(*notifications, changesMethod));
  notifications.reset();
  EXPECT_EQ(log.Count(1, "destroying"), 0U);
  stream.Done();
  EXPECT_EQ(log.Texts().back(), "1 destroying gRPC Notifications service");
  EXPECT_EQ(log.Lines().back().file, "src/module/grpc/GrpcNotificationsServiceGeneric.cpp");
}

}  // namespace
