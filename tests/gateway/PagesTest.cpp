#include <gmock/gmock.h>

#include <boost/asio/io_context.hpp>

#include "gateway/api/DevicesJson.h"
#include "gateway/api/Metrics.h"
#include "support/Deadline.h"
#include "support/FakeDevice.h"
#include "support/TempDir.h"

namespace corvalux::gateway {

namespace {

using client::Stream;

/// What the pages say of a device that the test plays.
class Pages : public testing::Test {
 protected:
  Pages() { devices.Follow({{"desk", folder.UnixAddress()}}); }

  void Receive(const ::corvalux::grpc::KeyValue& entry) {
    played.Send(Stream::fast, {entry});
    const auto end = std::chrono::steady_clock::now() + test::patience;
    const auto arrived = [this] { return devices.Find("desk")->Values().Sequence(Stream::fast) > 0; };
    while (!arrived() && std::chrono::steady_clock::now() < end) loop.run_one_for(std::chrono::milliseconds(10));
    ASSERT_TRUE(arrived());
  }

  const test::TempDir folder;
  test::FakeDevice played{folder.UnixAddress()};
  boost::asio::io_context loop;
  Devices devices{loop, {}, [](const Device&) {}};
};

}  // namespace

TEST_F(Pages, OfMetricsStayNearTheirLimitWhenOneValueIsALongList) {
  auto entry = test::keyValue(std::string(1000, 'k'));
  for (uint32_t i = 0; i < 100'000; ++i) entry.mutable_value()->mutable_uint_array()->add_values(1);
  Receive(entry);
  EXPECT_LT(metricsOf(devices, {}, Device::Clock::now(), 50'000).size(), 60'000U);
}

TEST_F(Pages, OfDevicesCountNoClipsThatNoCounterCanHave) {
  auto entry = test::keyValue("a/clips");
  entry.mutable_value()->set_double_value(1e300);
  Receive(entry);
  EXPECT_THAT(devicesJson(devices, Device::Clock::now()), testing::HasSubstr("\"clips\":null"));
}

}  // namespace corvalux::gateway
