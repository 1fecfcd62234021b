#include <gmock/gmock.h>

#include <boost/asio/io_context.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "gateway/devices/Devices.h"
#include "support/Deadline.h"
#include "support/FakeDevice.h"
#include "support/TempDir.h"

namespace corvalux::gateway {

namespace {

using client::Stream;
using std::chrono::milliseconds;
using testing::HasSubstr;

/// A gateway's devices with the loop that serves them, and a device that the test plays.
class DeviceStates : public testing::Test {
 protected:
  static constexpr std::size_t largest = 64 << 10;  ///< bytes of a message

  static DeviceSettings smallMessages() {
    DeviceSettings settings;
    settings.limits.frameBytes = largest;
    return settings;
  }
  void Follow() { devices.Follow({{"desk", address}}); }
  const Device& Desk() const { return *devices.Find("desk"); }

  /// Runs the loop until the condition holds; false when it does not in time.
  bool Until(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + test::patience;
    while (!condition() && std::chrono::steady_clock::now() < end) loop.run_one_for(milliseconds(10));
    return condition();
  }
  bool Becomes(DeviceState state) {
    return Until([this, state] { return Desk().State() == state; });
  }

  const test::TempDir folder;
  const std::string address = folder.UnixAddress();
  boost::asio::io_context loop;
  std::vector<std::string> states;
  Devices devices{loop, smallMessages(), [this](const Device& device) { states.emplace_back(nameOf(device.State())); }};
};

/// Counts what a device calls, and may do something in the last call.
class Notes : public Watcher {
 public:
  void OnMessage(Stream /*stream*/) override { ++messages; }
  void OnState() override { ++states; }
  void OnGone() override {
    ++gone;
    if (onGone) onGone();
  }
  int messages = 0;
  int states = 0;
  int gone = 0;
  std::function<void()> onGone;
};

}  // namespace

TEST_F(DeviceStates, IsLostWithTheReasonWhileNobodyAnswers) {
  Follow();
  EXPECT_EQ(Desk().State(), DeviceState::connecting);
  ASSERT_TRUE(Becomes(DeviceState::lost));
  EXPECT_THAT(Desk().Reason(), HasSubstr("cannot be reached: "));
}

TEST_F(DeviceStates, GoesLiveWithItsFirstMetersAndStaleWithoutMore) {
  test::FakeDevice device(address);
  Follow();
  ASSERT_TRUE(Becomes(DeviceState::stale));
  EXPECT_EQ(Desk().Reason(), "connected, but no meters have come");
  device.SendLevel(Stream::fast, "a/peak", -3);
  ASSERT_TRUE(Becomes(DeviceState::live));
  EXPECT_EQ(Desk().Reason(), "");
  ASSERT_TRUE(Becomes(DeviceState::stale));
  EXPECT_THAT(Desk().Reason(), HasSubstr("no fast meters for more than 1 s"));
  EXPECT_EQ(Desk().Values().Sequence(Stream::fast), 1U) << "what is known stays";
}

TEST_F(DeviceStates, IsStaleWhenOneOfItsMeterStreamsFallsSilent) {
  test::FakeDevice device(address);
  Follow();
  device.SendLevel(Stream::fast, "a/peak", -3);
  ASSERT_TRUE(Becomes(DeviceState::live));
  ASSERT_TRUE(Until([&] {
    device.SendLevel(Stream::slow, "a/lufs", -20);
    return Desk().State() == DeviceState::stale;
  }));
  EXPECT_THAT(Desk().Reason(), HasSubstr("no fast meters"));
}

TEST_F(DeviceStates, IsLostAndComesBack) {
  auto device = std::make_unique<test::FakeDevice>(address);
  device->SendLevel(Stream::fast, "a/peak", -3);
  Follow();
  ASSERT_TRUE(Becomes(DeviceState::live));
  device.reset();
  ASSERT_TRUE(Becomes(DeviceState::lost));
  EXPECT_THAT(Desk().Reason(), HasSubstr("connection lost: "));
  device = std::make_unique<test::FakeDevice>(address);
  device->SendLevel(Stream::fast, "a/peak", -3);
  ASSERT_TRUE(Becomes(DeviceState::live));
  EXPECT_THAT(states, testing::IsSupersetOf({"live", "lost"}));
}

TEST_F(DeviceStates, NotifyThoseWhoFollowThemAndSayWhenTheyGo) {
  test::FakeDevice device(address);
  Follow();
  Notes first;
  Notes second;
  Device& desk = *devices.Find("desk");
  desk.Add(first);
  desk.Add(second);
  first.onGone = [&] { desk.Remove(second); };
  second.onGone = [&] { desk.Remove(first); };
  device.SendLevel(Stream::fast, "a/peak", -3);
  ASSERT_TRUE(Until([&] { return first.messages > 0 && first.states > 0; }));
  devices.Follow({});
  EXPECT_EQ(first.gone + second.gone, 1) << "the one that was removed in the call of the other is left out";
  EXPECT_EQ(devices.Find("desk"), nullptr);
  loop.run_for(milliseconds(100));  // what gRPC has left for the device finds nobody
}

TEST_F(DeviceStates, KeepTheirValuesWhenOthersComeAndGo) {
  test::FakeDevice device(address);
  device.SendLevel(Stream::fast, "a/peak", -3);
  Follow();
  ASSERT_TRUE(Becomes(DeviceState::live));
  devices.Follow({{"desk", address}, {"other", folder.UnixAddress()}});
  EXPECT_EQ(Desk().Values().Sequence(Stream::fast), 1U);
  devices.Follow({{"desk", folder.UnixAddress() + "2"}});
  EXPECT_EQ(Desk().Values().Sequence(Stream::fast), 0U) << "another address is another device";
}

TEST_F(DeviceStates, SurviveMessagesThatAreNotWhatTheyShouldBe) {
  test::FakeDevice device(address);
  device.SendBytes(Stream::fast, "\xFF\xFF");
  device.SendBytes(Stream::fast, std::string(largest + 1, 'x'));
  device.Send(Stream::fast, {test::keyValue(std::string(2000, 'k')), test::keyValue("good"), test::keyValue("b\xFF")});
  Follow();
  ASSERT_TRUE(Becomes(DeviceState::live));
  EXPECT_EQ(Desk().Statistics(Stream::fast).Rejected(), 1U);
  EXPECT_EQ(Desk().Over().frames, 1U);
  EXPECT_EQ(Desk().Over().longKeys, 1U);
  EXPECT_EQ(Desk().Statistics(Stream::fast).Repaired(), 1U);
  EXPECT_EQ(Desk().Values().Newest(Stream::fast)->message.entries.size(), 2U);
}

}  // namespace corvalux::gateway
