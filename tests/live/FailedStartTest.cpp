// A start that fails late: the server already has clients, and must end their streams.
#include <gmock/gmock.h>

#include <chrono>
#include <optional>

#include "live/LiveTest.h"

namespace {

using namespace std::chrono_literals;
using sim::Event;
using test::RawCall;
using test::StreamClient;

class FailedStart : public test::LiveTest {};

TEST_F(FailedStart, EndsTheStreamsOfClientsThatCameMeanwhile) {
  std::optional<StreamClient> reader;
  std::optional<RawCall> stalled;
  engine.SetRegistrationObserver([&](Event event, const void*) {
    if (event != Event::meterSlow) return;
    reader.emplace(address, test::slowMethod);
    EXPECT_TRUE(Subscribed(*reader, Event::meterSlow));
    stalled.emplace(address, test::fastMethod);
    EXPECT_TRUE(Subscribed(*stalled));
    FillUp(Event::meterFast);
  });
  engine.RefuseRegistration(3);
  const auto time = test::timeOf([this] {
    EXPECT_EQ(instance.Start({{"serverUrl", address}, {"grpc_memory_kb", 1 << 20}}), -1);
  });
  EXPECT_GE(time, 2s) << "the stalled client's stream has ended by itself";
  EXPECT_LT(time, test::stopLimit);
  EXPECT_EQ(instance.record.moduleSlot, nullptr);
  ASSERT_TRUE(reader && stalled);
  const auto status = reader->WaitForStatus();
  ASSERT_TRUE(status);
  EXPECT_EQ(status->error_code(), ::grpc::StatusCode::CANCELLED);
  EXPECT_EQ(status->error_message(), "");
}

}  // namespace
