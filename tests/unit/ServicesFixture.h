#pragma once

#include <memory>
#include <string>

#include "module/grpc/GrpcMetersServiceGeneric.h"
#include "module/grpc/GrpcNotificationsServiceGeneric.h"
#include "support/ScriptedStream.h"
#include "support/StreamClient.h"
#include "unit/GenericContext.h"
#include "unit/LoggedTest.h"

namespace test {

/// Both services with their publishers.
class ServicesFixture : public LoggedTest {
 protected:
  using Meter = corvalux::grpc::Meter;
  using Notification = corvalux::grpc::Notification;

  /// Calls a method of a generic service; returns its reactor.
  static ::grpc::ServerGenericBidiReactor* Open(::grpc::CallbackGenericService& service, const std::string& method) {
    return service.CreateReactor(contextOf(method).get());
  }

  /// Calls a method; fails the test unless the call ends with UNIMPLEMENTED.
  static void ExpectUnimplemented(::grpc::CallbackGenericService& service, const std::string& method) {
    ScriptedStream stream(Open(service, method));
    ASSERT_EQ(stream.Finishes().size(), 1U) << method;
    EXPECT_EQ(stream.Finishes().at(0).error_code(), ::grpc::StatusCode::UNIMPLEMENTED) << method;
    EXPECT_EQ(stream.Finishes().at(0).error_message(), "") << method;
  }

  corvalux::grpc::PublisherGeneric<Meter> fast;
  corvalux::grpc::PublisherGeneric<Meter> slow;
  corvalux::grpc::PublisherGeneric<Notification> changes;
  std::shared_ptr<corvalux::grpc::GrpcMetersServiceGeneric> meters =
      std::make_shared<corvalux::grpc::GrpcMetersServiceGeneric>(&fast, &slow);
  std::shared_ptr<corvalux::grpc::GrpcNotificationsServiceGeneric> notifications =
      std::make_shared<corvalux::grpc::GrpcNotificationsServiceGeneric>(&changes);
};

}  // namespace test
