#include "gateway/fleet/Fleet.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "client/Encode.h"
#include "support/Deadline.h"
#include "support/FakeDevice.h"
#include "support/TempDir.h"
#include "tests/gateway/FleetHub.h"

namespace corvalux::gateway {

namespace {

using client::Stream;
using std::chrono::milliseconds;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

/// Gateways of one fleet, on one loop, and a device that the test plays.
class Fleets : public testing::Test {
 protected:
  struct One {
    One(Fleets& fleets, const std::string& name)
        : devices(fleets.loop, DeviceSettings(), [](const Device&) {}),
          fleet(
              fleets.loop, devices, {.url = "", .passwordFile = "", .name = name, .devices = 10},
              [&](const std::string& inbox, std::function<void(const Incoming&)> take) {
                return fleets.hub.Connect(inbox, std::move(take));
              },
              [&](const std::string&, const std::string& text) { fleets.said.push_back(text); }) {}

    Devices devices;
    Fleet fleet;
  };

  std::unique_ptr<One> Gateway(const std::string& name, bool given) {
    auto one = std::make_unique<One>(*this, name);
    if (given) one->devices.Follow({{"desk", address}});
    return one;
  }
  bool Until(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + test::patience;
    while (!condition() && std::chrono::steady_clock::now() < end) loop.run_one_for(milliseconds(10));
    return condition();
  }
  /// Lets the device send levels until then, at its usual pace.
  bool UntilSending(const std::function<bool()>& condition) {
    auto next = std::chrono::steady_clock::now();
    return Until([&] {
      if (const auto now = std::chrono::steady_clock::now(); now >= next) {
        device->SendLevel(Stream::fast, "level", ++level);
        next = now + milliseconds(40);
      }
      return condition();
    });
  }
  static bool Speaks(const One& one) { return one.fleet.Counts().speaking == 1; }
  static bool IsLive(const One& one) {
    const Device* desk = one.devices.Find("desk");
    return desk && desk->State() == DeviceState::live;
  }
  /// Where it has the device from; nothing while it has none.
  static std::optional<std::string> From(const One& one) {
    const Device* desk = one.devices.Find("desk");
    return desk ? std::optional(desk->Where().address) : std::nullopt;
  }
  static bool IsLost(const One& one) {
    const Device* desk = one.devices.Find("desk");
    return desk && desk->State() == DeviceState::lost;
  }
  void Change(const std::string& key, float value) { device->SendLevel(Stream::changes, key, value); }
  /// Keys with their newest values, as text.
  static std::vector<std::string> Changes(const One& one) {
    std::vector<std::string> all;
    if (const Device* desk = one.devices.Find("desk")) {
      for (const auto& each : desk->Values().Changes()) {
        all.push_back(each.entry.key + "=" + client::describe(each.entry.value));
      }
    }
    return all;
  }
  bool Has(const One& one, const std::string& change) {
    return Until([&] { return testing::Value(Changes(one), Contains(change)); });
  }

  const test::TempDir folder;
  const std::string address = folder.UnixAddress();
  std::unique_ptr<test::FakeDevice> device = std::make_unique<test::FakeDevice>(address);
  float level = 0;
  boost::asio::io_context loop;
  test::FleetHub hub;
  std::vector<std::string> said;
};

}  // namespace

TEST_F(Fleets, ServeADeviceThatOneOfThemHas) {
  const auto alpha = Gateway("alpha", true);
  const auto edge = Gateway("edge", false);
  Change("gain", 1);
  ASSERT_TRUE(UntilSending([&] { return IsLive(*edge); }));
  EXPECT_EQ(From(*edge), "via alpha");
  EXPECT_TRUE(Speaks(*alpha));
  EXPECT_TRUE(Has(*edge, "gain=1"));
  EXPECT_THAT(said, Contains("in the fleet as alpha"));
}

TEST_F(Fleets, GiveTheOneThatJoinsThePresentPicture) {
  const auto alpha = Gateway("alpha", true);
  Change("gain", 1);
  Change("gain", 2);
  Change("name", 3);
  device->SendLevel(Stream::slow, "loudness", 4);
  ASSERT_TRUE(UntilSending([&] { return Speaks(*alpha); }));
  const auto edge = Gateway("edge", false);
  ASSERT_TRUE(UntilSending([&] { return Changes(*edge).size() == 2; }));
  EXPECT_TRUE(Has(*edge, "gain=2"));
  const auto slow = edge->devices.Find("desk")->Values().Newest(Stream::slow);
  ASSERT_TRUE(slow);
  EXPECT_EQ(slow->message.entries.front().key, "loudness");
}

TEST_F(Fleets, MayEndWhenTheirTimerIsDue) {
  std::vector<std::unique_ptr<One>> all;
  for (const char* name : {"alpha", "beta", "edge"}) all.push_back(Gateway(name, false));
  std::this_thread::sleep_for(milliseconds(200));  // the timers of all are due
  loop.run_one();                                  // one has its turn, the others wait for theirs
  const auto before = said;
  all.clear();
  loop.poll();
  EXPECT_EQ(said, before) << "those that are gone say nothing";
}

TEST_F(Fleets, PublishTheDevicesOctetsUntouched) {
  const auto alpha = Gateway("alpha", true);
  ASSERT_TRUE(UntilSending([&] { return Speaks(*alpha); }));
  const std::string strange = "\x0a\x05\x0a\x01k\x78\x05";  // with a field that nobody knows
  device->SendBytes(Stream::fast, strange);
  ASSERT_TRUE(Until([&] {
    const auto all = hub.All();
    return std::any_of(all.begin(), all.end(), [&](const test::Sent& sent) { return sent.payload == strange; });
  }));
}

TEST_F(Fleets, TakeOverWithWhatChangedMeanwhile) {
  auto alpha = Gateway("alpha", true);
  const auto edge = Gateway("edge", false);
  ASSERT_TRUE(UntilSending([&] { return IsLive(*edge) && Speaks(*alpha); }));
  const auto beta = Gateway("beta", true);
  Change("gain", 1);
  ASSERT_TRUE(Has(*edge, "gain=1"));
  ASSERT_TRUE(UntilSending([&] { return IsLive(*beta); }));
  EXPECT_FALSE(Speaks(*beta));
  alpha.reset();
  Change("gain", 2);
  ASSERT_TRUE(UntilSending([&] { return From(*edge) == "via beta"; }));
  EXPECT_TRUE(Has(*edge, "gain=2")) << "nobody spoke when it changed";
}

TEST_F(Fleets, ShowNothingOlderWhenTheOneThatTakesOverKnowsLess) {
  test::FleetHub& bus = hub;
  const auto edge = Gateway("edge", false);
  const Origin other{5, "other"};
  std::string newer;
  client::appendEntry(client::Entry{"gain", 9.0F}, newer);
  uint64_t sequence = 0;
  const auto clock = [] { return std::chrono::duration<double>(FleetClock::now().time_since_epoch()).count(); };
  ASSERT_TRUE(Until([&] {
    bus.Publish({"corvalux.v1.desk.changes", "", newer, {other, ++sequence, 0, clock(), 0}});
    return testing::Value(Changes(*edge), Contains("gain=9"));
  }));
  Change("gain", 1);  // before that, as the next one remembers it
  Change("name", 2);
  const auto alpha = Gateway("alpha", true);
  ASSERT_TRUE(UntilSending([&] { return Changes(*alpha).size() == 2; }));
  const auto speaking = [&] {
    bus.Publish({"corvalux.v1.desk.changes", "", newer, {other, ++sequence, 0, clock(), 0}});
  };
  for (int i = 0; i < 20; ++i) {
    speaking();
    loop.run_for(milliseconds(20));
  }
  ASSERT_TRUE(UntilSending([&] { return From(*edge) == "via alpha"; }));
  ASSERT_TRUE(Has(*edge, "name=2")) << "what is unknown is taken";
  EXPECT_THAT(Changes(*edge), AllOf(Contains("gain=9"), Not(Contains("gain=1"))));
}

TEST_F(Fleets, CatchUpAfterTheConnectionWasLost) {
  const auto alpha = Gateway("alpha", true);
  const auto edge = Gateway("edge", false);
  Change("gain", 1);
  ASSERT_TRUE(UntilSending([&] { return IsLive(*edge) && Speaks(*alpha); }));
  ASSERT_TRUE(Has(*edge, "gain=1"));
  hub.connected = false;
  ASSERT_TRUE(UntilSending([&] { return IsLost(*edge); }));
  Change("gain", 2);
  ASSERT_TRUE(Has(*alpha, "gain=2"));
  hub.connected = true;
  ASSERT_TRUE(UntilSending([&] { return IsLive(*edge); }));
  EXPECT_TRUE(Has(*edge, "gain=2"));
  EXPECT_THAT(said, Contains(HasSubstr("not in the fleet")));
}

TEST_F(Fleets, TakeADeviceFromTheFleetWhileTheirOwnConnectionIsLost) {
  const auto alpha = Gateway("alpha", true);
  ASSERT_TRUE(UntilSending([&] { return Speaks(*alpha); }));
  const auto beta = Gateway("beta", false);
  beta->devices.Follow({{"desk", folder.UnixAddress() + "-none"}});
  ASSERT_TRUE(UntilSending([&] { return IsLive(*beta); }));
  EXPECT_TRUE(beta->devices.Find("desk")->Given());
  EXPECT_FALSE(Speaks(*beta));
  device.reset();
  ASSERT_TRUE(Until([&] { return IsLost(*beta); }));
}

TEST_F(Fleets, SayWhyADeviceOfAnotherOneIsLost) {
  device.reset();
  const auto alpha = Gateway("alpha", true);
  const auto edge = Gateway("edge", false);
  ASSERT_TRUE(Until([&] {
    const Device* desk = edge->devices.Find("desk");
    return desk && testing::Value(desk->Reason(), HasSubstr("alpha: cannot be reached: "));
  }));
  EXPECT_TRUE(IsLost(*edge));
}

TEST_F(Fleets, DropADeviceThatNobodyFollows) {
  const auto alpha = Gateway("alpha", true);
  const auto edge = Gateway("edge", false);
  ASSERT_TRUE(UntilSending([&] { return IsLive(*edge); }));
  alpha->devices.Follow({});
  ASSERT_TRUE(Until([&] { return edge->devices.All().empty(); }));
  EXPECT_TRUE(alpha->devices.All().empty());
}

TEST_F(Fleets, SayThatTheyEnd) {
  const auto alpha = Gateway("alpha", true);
  ASSERT_TRUE(UntilSending([&] { return Speaks(*alpha); }));
  alpha->fleet.Close();
  const auto last = hub.All().back();
  EXPECT_EQ(last.subject, "corvalux.v1.desk.state");
  EXPECT_THAT(last.payload, AllOf(HasSubstr("\"speaks\":false"), HasSubstr("\"gone\":true")));
}

TEST_F(Fleets, AnswerOnlyWhoHasAnInbox) {
  const auto alpha = Gateway("alpha", true);
  ASSERT_TRUE(UntilSending([&] { return Speaks(*alpha); }));
  hub.Publish({"corvalux.v1.desk.picture", "corvalux.v1.desk.slow", "", {}});
  hub.Publish({"corvalux.v1.desk.picture", "_INBOX.somebody", "", {}});
  const auto answered = [&](const std::string& subject) {
    const auto all = hub.All();
    return std::any_of(all.begin(), all.end(), [&](const auto& sent) { return sent.subject == subject; });
  };
  ASSERT_TRUE(Until([&] { return answered("_INBOX.somebody"); }));
  EXPECT_FALSE(answered("corvalux.v1.desk.slow"));
}

}  // namespace corvalux::gateway
