// Which call gets which stream, and which gets none.
#include <gmock/gmock.h>

#include <thread>

#include "live/LiveTest.h"

namespace {

using sim::Event;
using test::RawCall;
using test::StreamClient;

class Routing : public test::LiveTest {
 protected:
  /// Emits an event of each kind, with the name of its kind as the key.
  void EmitAllKinds() {
    for (const Event event : {Event::meterFast, Event::meterSlow, Event::changes}) {
      engine.Emit(event, {{sim::nameOf(event), 1U}});
    }
  }

  static bool HasOnly(const std::string& key, const StreamClient& client) {
    for (const std::string& bytes : client.Messages()) {
      ::corvalux::grpc::Meter meter;
      if (!meter.ParseFromString(bytes) || meter.entries_size() != 1 || meter.entries(0).key() != key) return false;
    }
    return true;
  }
};

TEST_F(Routing, EachMethodStreamsItsOwnEventsOnly) {
  StartModule();
  StreamClient fast(address, test::fastMethod);
  StreamClient slow(address, test::slowMethod);
  StreamClient changes(address, test::changesMethod);
  ASSERT_TRUE(test::eventually([&] {
    EmitAllKinds();
    return fast.Messages().size() > 2 && slow.Messages().size() > 2 && changes.Messages().size() > 2;
  }));
  EXPECT_TRUE(HasOnly("meterFast", fast));
  EXPECT_TRUE(HasOnly("meterSlow", slow));
  EXPECT_TRUE(HasOnly("changes", changes));
}

class RefusedMethods : public Routing, public testing::WithParamInterface<const char*> {};

TEST_P(RefusedMethods, AreUnimplementedWithAnEmptyMessage) {
  StartModule();
  StreamClient client(address, GetParam());
  const auto status = client.WaitForStatus();
  ASSERT_TRUE(status);
  EXPECT_EQ(status->error_code(), ::grpc::StatusCode::UNIMPLEMENTED);
  EXPECT_EQ(status->error_message(), "");
  EXPECT_THAT(client.Messages(), testing::IsEmpty());
  EXPECT_EQ(log.Count(1, "reactor"), 0U) << "a stream was created for it";
}

INSTANTIATE_TEST_SUITE_P(Routing, RefusedMethods,
                         testing::Values("/corvalux.grpc.Meters/GetMetersfast", "/corvalux.grpc.Meters/getMetersFast",
                                         "/corvalux.grpc.Meters/GetMetersSLOW", "/corvalux.grpc.meters/GetMetersFast",
                                         "/Corvalux.grpc.Meters/GetMetersFast",
                                         "/corvalux.grpc.Notifications/getNotifications",
                                         "/corvalux.grpc.notifications/GetNotifications",
                                         "/corvalux.grpc.Notifications/GetNOTIFICATIONS"));

INSTANTIATE_TEST_SUITE_P(OfOtherLength, RefusedMethods,
                         testing::Values("/corvalux.grpc.Meters/", "/corvalux.grpc.Notifications/",
                                         "/corvalux.grpc.Meters", "/corvalux.grpc.Meters/GetMetersFas",
                                         "/corvalux.grpc.Meters/GetMetersFastt", "/corvalux.grpc.Meters/GetMetersFast/",
                                         "/corvalux.grpc.Meters/GetMeters",
                                         "/corvalux.grpc.Notifications/GetNotification",
                                         "/corvalux.grpc.Notifications/GetNotificationss"));

INSTANTIATE_TEST_SUITE_P(OfOtherServices, RefusedMethods,
                         testing::Values("/corvalux.grpc.Meters/GetNotifications",
                                         "/corvalux.grpc.Notifications/GetMetersFast", "/corvalux.grpc.Other/Get",
                                         "/grpc.health.v1.Health/Check", "/x/corvalux.grpc.Meters/GetMetersFast", "/"));

TEST_F(Routing, ACallThatArrivesWhileTheModuleClosesIsUnimplemented) {
  StartRoomyModule();
  RawCall stalled(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(stalled));
  FillUp(Event::meterFast);
  std::jthread stopping([this] { instance.Stop(); });  // waits for the stalled client
  ASSERT_TRUE(log.WaitFor("calling Finish on reactor"));
  StreamClient late(address, test::slowMethod);
  const auto status = late.WaitForStatus();
  ASSERT_TRUE(status);
  EXPECT_EQ(status->error_code(), ::grpc::StatusCode::UNIMPLEMENTED);
  EXPECT_EQ(status->error_message(), "");
}

}  // namespace
