#include <gmock/gmock.h>

#include "support/ModuleTest.h"
#include "support/StreamClient.h"

namespace {

using test::StreamClient;

class Streams : public test::ModuleTest {};

TEST_F(Streams, AllEightKindsReachAClient) {
  StartModule();
  StreamClient client(address, test::fastMethod);
  const sim::KeyValues values = {{"unsigned", 7U},
                                 {"signed", -7},
                                 {"float", 0.5F},
                                 {"double", 0.25},
                                 {"text", std::string("on air")},
                                 {"unsigneds", std::vector<uint32_t>{1, 2}},
                                 {"signeds", std::vector<int32_t>{-1, 2}},
                                 {"floats", std::vector<float>{-1.5F, 2}}};
  ASSERT_TRUE(EmitUntil(sim::Event::meterFast, values, [&] { return !client.Messages().empty(); }));
  const auto meter = client.LastMeter();
  ASSERT_EQ(meter.entries_size(), 8);
  EXPECT_EQ(meter.entries(0).value().uint_value(), 7U);
  EXPECT_EQ(meter.entries(1).value().int_value(), -7);
  EXPECT_EQ(meter.entries(2).value().float_value(), 0.5F);
  EXPECT_EQ(meter.entries(3).value().double_value(), 0.25);
  EXPECT_EQ(meter.entries(4).value().string_value().data(), "on air");
  EXPECT_THAT(meter.entries(5).value().uint_array().values(), testing::ElementsAre(1U, 2U));
  EXPECT_THAT(meter.entries(6).value().int_array().values(), testing::ElementsAre(-1, 2));
  EXPECT_THAT(meter.entries(7).value().float_array().values(), testing::ElementsAre(-1.5F, 2.0F));
  EXPECT_EQ(meter.entries(7).key(), "floats");
}

TEST_F(Streams, StopEndsEveryStreamWithCancelled) {
  StartModule();
  StreamClient fast(address, test::fastMethod);
  StreamClient changes(address, test::changesMethod);
  ASSERT_TRUE(EmitUntil(sim::Event::meterFast, {}, [&] { return !fast.Messages().empty(); }));
  ASSERT_TRUE(EmitUntil(sim::Event::changes, {}, [&] { return !changes.Messages().empty(); }));
  instance.Stop();
  for (StreamClient* client : {&fast, &changes}) {
    const auto status = client->WaitForStatus();
    ASSERT_TRUE(status);
    EXPECT_EQ(status->error_code(), ::grpc::StatusCode::CANCELLED);
    EXPECT_EQ(status->error_message(), "");
  }
}

}  // namespace
