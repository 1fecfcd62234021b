#include "gateway/live/Excerpt.h"

#include <gmock/gmock.h>

#include <boost/asio/io_context.hpp>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "client/Decode.h"
#include "gateway/devices/Devices.h"
#include "support/Deadline.h"
#include "support/FakeDevice.h"
#include "support/TempDir.h"

namespace corvalux::gateway {

namespace {

using client::Entry;
using client::Stream;
using testing::ElementsAre;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();

grpc::KeyValue entry(const std::string& key, float value) {
  grpc::KeyValue made = test::keyValue(key);
  made.mutable_value()->set_float_value(value);
  return made;
}

std::vector<Entry> entriesOf(const Octets& octets) { return client::decode(*octets).value().entries; }

/// Excerpts of a device that the test plays.
class Excerpts : public testing::Test {
 protected:
  Excerpts() { devices.Follow({{"desk", folder.UnixAddress()}}); }

  Device& Desk() const { return *devices.Find("desk"); }
  void Send(Stream stream, const std::vector<grpc::KeyValue>& entries) {
    Await(stream, [&] { played.Send(stream, entries); });
  }
  void SendBytes(Stream stream, const std::string& bytes) {
    Await(stream, [&] { played.SendBytes(stream, bytes); });
  }
  std::shared_ptr<Excerpt> Of(std::vector<std::string> keys = {}) {
    return std::make_shared<Excerpt>(Desk(), Patterns(std::move(keys)), Patterns({"**/peak"}));
  }

 private:
  /// Until the device has one message more.
  void Await(Stream stream, const std::function<void()>& send) {
    const uint64_t before = Desk().Values().Sequence(stream);
    send();
    const auto end = std::chrono::steady_clock::now() + test::patience;
    while (Desk().Values().Sequence(stream) == before && std::chrono::steady_clock::now() < end) {
      loop.run_one_for(std::chrono::milliseconds(10));
    }
    ASSERT_EQ(Desk().Values().Sequence(stream), before + 1);
  }

  const test::TempDir folder;
  test::FakeDevice played{folder.UnixAddress()};
  boost::asio::io_context loop;
  Devices devices{loop, {}, [](const Device&) {}};
};

}  // namespace

TEST_F(Excerpts, CarryTheDevicesOctetsUntouched) {
  const auto excerpt = Of();
  auto span = excerpt->Begin(Stream::fast);
  grpc::Meter meter;
  *meter.add_entries() = entry("a/peak", -3);
  const std::string unknown = "\x7a\x01x";  // of a newer device
  SendBytes(Stream::fast, meter.SerializeAsString() + unknown);
  EXPECT_EQ(*excerpt->EntriesOf(Stream::fast, span), meter.SerializeAsString() + unknown);
}

TEST_F(Excerpts, AreMadeOnceForAllWhoHadTheSameLast) {
  const auto excerpt = Of({"a/*"});
  auto one = excerpt->Begin(Stream::fast);
  auto other = excerpt->Begin(Stream::fast);
  Send(Stream::fast, {entry("a/peak", -3), entry("b/peak", -9)});
  EXPECT_EQ(excerpt->EntriesOf(Stream::fast, one), excerpt->EntriesOf(Stream::fast, other));
  Send(Stream::fast, {entry("a/peak", -4), entry("b/peak", -9)});
  EXPECT_EQ(excerpt->EntriesOf(Stream::fast, one), excerpt->EntriesOf(Stream::fast, other));
  EXPECT_THAT(entriesOf(excerpt->EntriesOf(Stream::fast, one)), ElementsAre(Entry{"a/peak", -3.0F}));
}

TEST_F(Excerpts, RepairWhatIsNotUtf8) {
  const auto excerpt = Of();
  auto span = excerpt->Begin(Stream::fast);
  SendBytes(Stream::fast, std::string("\x0a\x08\x0a\x02\xff\x61\x12\x02\x20\x07", 10));
  EXPECT_THAT(entriesOf(excerpt->EntriesOf(Stream::fast, span)), ElementsAre(Entry{"\xef\xbf\xbd"
                                                                                   "a",
                                                                                   7U}));
}

TEST_F(Excerpts, KeepThePeaksOfMergedMessagesAndTheNewestOfEverythingElse) {
  const auto excerpt = Of();
  auto span = excerpt->Begin(Stream::fast);
  const auto send = [this](float first, float second, float rms) {
    Send(Stream::fast, {entry("a/peak", first), entry("b/peak", second), entry("a/rms", rms)});
  };
  send(-9, nan, -20);
  send(-1, -5, -10);
  send(nan, -7, -30);
  EXPECT_THAT(entriesOf(excerpt->EntriesOf(Stream::fast, span)),
              ElementsAre(Entry{"a/peak", -1.0F}, Entry{"b/peak", -5.0F}, Entry{"a/rms", -30.0F}));
}

TEST_F(Excerpts, ForgetPeaksOfKeysThatAreGoneAndKeepRepeatedOnesApart) {
  const auto excerpt = Of();
  auto span = excerpt->Begin(Stream::fast);
  Send(Stream::fast, {entry("a/peak", -1), entry("b/peak", -2), entry("b/peak", -9)});
  Send(Stream::fast, {entry("b/peak", -7), entry("new/peak", -6), entry("b/peak", -8)});
  EXPECT_THAT(entriesOf(excerpt->EntriesOf(Stream::fast, span)),
              ElementsAre(Entry{"b/peak", -2.0F}, Entry{"new/peak", -6.0F}, Entry{"b/peak", -8.0F}));
  Send(Stream::fast, {});
  Send(Stream::fast, {entry("b/peak", -20)});
  EXPECT_THAT(entriesOf(excerpt->EntriesOf(Stream::fast, span)), ElementsAre(Entry{"b/peak", -20.0F}));
}

TEST_F(Excerpts, KeepTheKindOfAPeak) {
  const auto excerpt = Of();
  auto span = excerpt->Begin(Stream::slow);
  grpc::KeyValue count = test::keyValue("a/peak");
  for (const uint32_t number : {7U, 4'000'000'000U, 9U}) {
    count.mutable_value()->set_uint_value(number);
    Send(Stream::slow, {count});
  }
  EXPECT_THAT(entriesOf(excerpt->EntriesOf(Stream::slow, span)), ElementsAre(Entry{"a/peak", 4'000'000'000U}));
}

TEST_F(Excerpts, LoseNoPeakOfManySlowViewers) {
  const auto excerpt = Of();
  std::vector<std::shared_ptr<Span>> spans;
  for (int i = 0; i < 3 * static_cast<int>(Excerpt::mostSpans); ++i) {
    spans.push_back(excerpt->Begin(Stream::fast));
    Send(Stream::fast, {entry("a/peak", static_cast<float>(-i)), entry("b/peak", static_cast<float>(i))});
  }
  std::map<const Span*, int> used;
  for (int i = 0; i < static_cast<int>(spans.size()); ++i) {
    const auto got = entriesOf(excerpt->EntriesOf(Stream::fast, spans[i]));
    EXPECT_GE(client::numberOf(got[0].value).value(), -i) << "all that came since, and perhaps what came before";
    ++used[spans[i].get()];
  }
  EXPECT_LE(used.size(), Excerpt::mostSpans);
}

TEST_F(Excerpts, KeepNothingThatWasMadeOfAnOlderMessage) {
  const auto excerpt = Of({"a/*"});
  auto taken = excerpt->Begin(Stream::fast);
  const auto left = taken;  // by somebody who is hidden
  Send(Stream::fast, {entry("a/peak", -3)});
  const std::weak_ptr<const std::string> made = excerpt->EntriesOf(Stream::fast, taken);
  EXPECT_FALSE(made.expired());
  Send(Stream::fast, {entry("a/peak", -4)});
  EXPECT_TRUE(made.expired());
}

TEST_F(Excerpts, CarryEveryKeyThatChangedWithItsNewestValue) {
  const auto excerpt = Of();
  Send(Stream::changes, {entry("gain", 1), entry("old", 1)});
  auto span = excerpt->Begin(Stream::changes);
  Send(Stream::changes, {entry("gain", 2), entry("mute", 1), entry("gain", 3)});
  EXPECT_THAT(entriesOf(excerpt->EntriesOf(Stream::changes, span)),
              ElementsAre(Entry{"gain", 2.0F}, Entry{"mute", 1.0F}, Entry{"gain", 3.0F}))
      << "one message is as it came";
  Send(Stream::changes, {entry("mute", 0)});
  EXPECT_THAT(entriesOf(excerpt->EntriesOf(Stream::changes, span)),
              ElementsAre(Entry{"gain", 3.0F}, Entry{"mute", 0.0F}));
  EXPECT_THAT(entriesOf(excerpt->AllChanges().first),
              ElementsAre(Entry{"old", 1.0F}, Entry{"gain", 3.0F}, Entry{"mute", 0.0F}));
}

}  // namespace corvalux::gateway
