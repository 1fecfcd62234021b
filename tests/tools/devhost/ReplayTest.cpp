#include "devhost/replay/Replay.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstring>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "RecordingFile.h"
#include "devhost/Misbehaviour.h"
#include "devhost/replay/HostValues.h"
#include "sim/HostList.h"
#include "support/ModuleTest.h"
#include "support/StreamClient.h"

namespace {

using namespace std::chrono_literals;
using ::corvalux::client::Record;
using ::corvalux::client::Stream;
using replay::hostValuesOf;
using sim::Event;
namespace devhost = ::corvalux::devhost;

constexpr Event events[] = {Event::meterFast, Event::meterSlow, Event::changes};
const std::string methods[] = {test::fastMethod, test::slowMethod, test::changesMethod};

/// The real module sends what is taken from messages, to a real client.
class HostValues : public test::ModuleTest {
 protected:
  /// Has the module send a list, and gives the bytes that arrive.
  std::string Sent(test::StreamClient& client, Event event, const sim::KeyValues& list) {
    const std::size_t before = client.Count();
    engine.Emit(event, list);
    EXPECT_TRUE(client.WaitForMessages(before + 1));
    return client.Messages().back();
  }

  /// Subscribes, and waits until nothing is under way that the subscription waited for.
  void Subscribe(test::StreamClient& client, Event event) {
    ASSERT_TRUE(EmitUntil(event, {}, [&] { return client.Count() > 0; }));
    ASSERT_TRUE(EmitUntil(event, {{"last", 1U}}, [&] { return !client.Messages().back().empty(); }));
    const std::string end = Settle(client, event);
    ASSERT_FALSE(end.empty());
  }

  /// Lists that waited for an earlier one come before this one, and none after it.
  std::string Settle(test::StreamClient& client, Event event) {
    engine.Emit(event, {{"settled", 1U}});
    const auto settled = [&] { return client.Messages().back().find("settled") != std::string::npos; };
    return test::eventually(settled) ? client.Messages().back() : "";
  }

  /// A list of all kinds and of what is unusual, as the module sends it.
  static sim::KeyValues Everything() {
    sim::KeyValues list = {{"unsigned", 4294967295U},
                           {"signed", std::numeric_limits<int32_t>::min()},
                           {"zero", 0},
                           {"float", -0.0F},
                           {"nan", std::numeric_limits<float>::quiet_NaN()},
                           {"double", 0.1},
                           {"text", std::string("on air \xC3\xA4")},
                           {"unsigneds", std::vector<uint32_t>{0, 1, 4294967295U}},
                           {"signeds", std::vector<int32_t>{-1, 0, 2147483647}},
                           {"floats", std::vector<float>{-1.5F, 0, 2}}};
    for (const auto odd : {devhost::Misbehaviour::emptyTexts, devhost::Misbehaviour::notUtf8,
                           devhost::Misbehaviour::zeroCounts, devhost::Misbehaviour::duplicateKeys}) {
      devhost::misbehave(odd, 2, list);
    }
    return list;
  }
};

TEST_F(HostValues, OfWhatTheModuleSentMakeItSendTheSameBytes) {
  StartModule();
  for (std::size_t i = 0; i < std::size(events); ++i) {
    test::StreamClient client(address, methods[i]);
    Subscribe(client, events[i]);
    const std::string bytes = Sent(client, events[i], Everything());
    Settle(client, events[i]);
    const auto list = hostValuesOf(bytes);
    ASSERT_TRUE(list);
    EXPECT_EQ(list->size(), Everything().size());
    EXPECT_EQ(Sent(client, events[i], *list), bytes);
  }
}

TEST_F(HostValues, OfAValueWithoutAKindMakeTheModuleSendNone) {
  StartModule();
  test::StreamClient client(address, test::changesMethod);
  Subscribe(client, Event::changes);
  const std::string bytes = Sent(client, Event::changes, {{"known", 1U}, {"unknown", sim::UnknownKind{8}}});
  const auto list = hostValuesOf(bytes);
  ASSERT_TRUE(list);
  EXPECT_EQ(Sent(client, Event::changes, *list), bytes);
}

TEST_F(HostValues, OfEveryMessageOfTheExampleMakeTheModuleSendTheSameBytes) {
  StartModule();
  const auto records = test::readRecording(CORVALUX_EXAMPLE);
  ASSERT_GT(records.size(), 50U);
  for (std::size_t i = 0; i < std::size(events); ++i) {
    test::StreamClient client(address, methods[i]);
    Subscribe(client, events[i]);
    int compared = 0;
    for (const Record& record : records) {
      if (record.stream != ::corvalux::client::allStreams.at(i)) continue;
      const auto list = hostValuesOf(record.message);
      ASSERT_TRUE(list);
      ASSERT_EQ(Sent(client, events[i], *list), record.message);
      ++compared;
    }
    EXPECT_GT(compared, 0);
  }
}

TEST(HostValuesOf, RefusesWhatNoHostListGives) {
  const auto refuses = [](const std::string& bytes) { return !hostValuesOf(bytes); };
  EXPECT_FALSE(refuses(""));
  EXPECT_FALSE(refuses(std::string("\x0A\x05\x0A\x01k\x12", 6) + '\0'));
  EXPECT_TRUE(refuses("no message"));
  EXPECT_TRUE(refuses("\x0A\x03\x0A\x01k"));                                    // an entry without a value
  EXPECT_TRUE(refuses(std::string("\x0A\x05\x0A\x01\0\x12\0", 7)));             // a key that holds a NUL
  EXPECT_TRUE(refuses(std::string("\x0A\x08\x0A\x01k\x12\x03\x4A\x01x", 10)));  // a ninth kind
}

/// Receives what an engine emits, with the time.
class ReplayTest : public testing::Test {
 protected:
  ReplayTest() {
    const sim::HostCall call;
    for (std::size_t i = 0; i < std::size(events); ++i) {
      receivers[i] = {this, events[i], nullptr};
      receivers[i].handle = engine.Add(events[i], Receive, &receivers[i]);
    }
  }
  ~ReplayTest() override {
    const sim::HostCall call;
    for (const Receiver& receiver : receivers) engine.Remove(receiver.handle, receiver.event != Event::changes);
    EXPECT_EQ(sim::takeMisuse(), std::vector<std::string>{});
  }

  /// How long it takes to play records of these times to the end.
  std::chrono::nanoseconds Play(const std::vector<Record>& records, double pace) {
    test::writeRecording(path, records);
    replay::Tape tape(path, false);
    std::optional<std::chrono::steady_clock::time_point> end;
    const auto begin = std::chrono::steady_clock::now();
    const replay::Replay replay(engine, tape, pace, [&] {
      const std::lock_guard lock(mutex);
      end = std::chrono::steady_clock::now();
    });
    EXPECT_TRUE(test::eventually([&] {
      const std::lock_guard lock(mutex);
      return end.has_value();
    }));
    return end.value_or(begin) - begin;
  }

  struct Receiver {
    ReplayTest* test;
    Event event;
    CallbackHandle handle;
  };

  static void Receive(KeyValueList, void* user) {
    const auto& receiver = *static_cast<Receiver*>(user);
    const std::lock_guard lock(receiver.test->mutex);
    receiver.test->received.push_back(receiver.event);
  }

  sim::Engine engine;
  Receiver receivers[3]{};
  std::mutex mutex;
  std::vector<Event> received;  // guarded by mutex
  const test::TempDir dir;
  const std::string path = (dir.Path() / "a.recording").string();
};

TEST_F(ReplayTest, EmitsAllListsInTheirOrder) {
  Play({{Stream::fast, 0s, ""}, {Stream::changes, 1ms, ""}, {Stream::slow, 2ms, ""}, {Stream::fast, 2ms, ""}}, 1);
  EXPECT_THAT(received, testing::ElementsAre(Event::meterFast, Event::changes, Event::meterSlow, Event::meterFast));
}

TEST_F(ReplayTest, KeepsToThePaceOfTheRecordingOrAMultipleOfIt) {
  const std::vector<Record> records = {{Stream::fast, 5s, ""}, {Stream::fast, 5200ms, ""}};
  EXPECT_GE(Play(records, 1), 400ms);
  EXPECT_GE(Play(records, 2), 200ms);
  EXPECT_GE(Play(records, 0.5), 800ms);
  // Two minutes are over in a tenth of a second, and a busy machine is no hundred times slower.
  EXPECT_LT(Play({{Stream::fast, 0s, ""}, {Stream::fast, 119s, ""}}, 1000), test::patience);
}

TEST_F(ReplayTest, EndsAtOnceWhenItIsTold) {
  test::writeRecording(path, {{Stream::fast, 0s, ""}, {Stream::fast, std::chrono::hours(24), ""}});
  replay::Tape tape(path, false);
  const replay::Replay replay(engine, tape, 1, [] { ADD_FAILURE() << "it has not come to its end"; });
  EXPECT_TRUE(test::eventually([&] {
    const std::lock_guard lock(mutex);
    return !received.empty();
  }));
}

}  // namespace
