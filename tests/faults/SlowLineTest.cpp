// Stops while much of what was written is still in transit: clients that read receive it, and then CANCELLED.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "faults/OtherHost.h"
#include "sim/Ticker.h"
#include "support/FreePort.h"
#include "support/ModuleTest.h"
#include "support/Process.h"
#include "support/StreamClient.h"

namespace {

using namespace std::chrono_literals;
using sim::Event;
using test::Process;

class SlowLine : public test::ModuleTest {
 protected:
  static uint32_t NewestOf(const test::StreamClient& client) { return test::counterOf(client.Messages().back()); }

  void TearDown() override {
    players.clear();
    ModuleTest::TearDown();
  }

  void StartOn(const std::string& url) {
    ASSERT_EQ(instance.Start({{"serverUrl", url}, {"grpc_memory_kb", 1 << 20}}), 0);
  }

  /// The three streams of a device of 16 channels.
  void Play() {
    const auto play = [this](Event event, auto period, std::size_t floats) {
      const sim::KeyValues values = {{"values", std::vector<float>(floats)}};
      players.push_back(std::make_unique<sim::Ticker>(period, [=, this] { engine.Emit(event, values); }));
    };
    play(Event::meterFast, 40ms, 750);
    play(Event::meterSlow, 500ms, 350);
    play(Event::changes, 500ms, 10);
  }

  std::vector<std::unique_ptr<sim::Ticker>> players;
};

TEST_F(SlowLine, AClientWithASmallReceiveBufferGetsAllThatWasWrittenAndThenCancelled) {
  const std::string far = "127.0.0.1:" + std::to_string(test::freePort());
  StartOn(address + " " + far);
  const std::string relay = dir.UnixAddress("relay");
  Process slowReader({"/usr/bin/python3", CORVALUX_SLOW_READER, far, relay.substr(5), "100000"});
  ASSERT_EQ(slowReader.ReadLine(test::patience).value_or("nothing"), "ready");
  test::StreamClient quick(address, test::fastMethod);
  test::StreamClient slow(relay, test::fastMethod);
  ASSERT_TRUE(EmitUntil(Event::meterFast, {{"counter", 0U}}, [&] { return slow.Count() > 0 && quick.Count() > 0; }));
  // 30 messages fit into the slow client's window: they are written, and wait in buffers.
  uint32_t counter = 0;
  while (counter < NewestOf(slow) + 30) {
    engine.Emit(Event::meterFast, {{"counter", ++counter}, {"weight", std::vector<float>(250)}});
    ASSERT_TRUE(test::eventually([&] { return NewestOf(quick) == counter; }));
  }
  EXPECT_LT(TimedStop(), test::stopLimit);
  const auto status = slow.WaitForStatus();
  ASSERT_TRUE(status);
  EXPECT_EQ(status->error_code(), ::grpc::StatusCode::CANCELLED) << status->error_message();
  EXPECT_GE(NewestOf(slow) + 10, counter);  // a busy module skips some of the last messages
}

constexpr int fastEnough = 4;  ///< Mbit/s on which a stop's grace period suffices for what the clients have not got yet

/// How many stops: few in every test run, more with CORVALUX_TEST_ROUNDS.
std::optional<int> askedFor() {
  const char* text = std::getenv("CORVALUX_TEST_ROUNDS");
  return text ? std::optional(std::atoi(text)) : std::nullopt;
}

class SlowLineAt : public SlowLine, public testing::WithParamInterface<int> {
 protected:
  static constexpr int clients = 10;

  /// Stops the module under clients beyond the line; how many of their streams ended with CANCELLED.
  int CancelledAtStop(const test::OtherHost& other) {
    const std::string far = "192.0.2.1:50209";
    StartOn(far);
    Play();
    Process program(other.Command({CORVALUX_LINE_CLIENTS, far, std::to_string(clients)}));
    EXPECT_EQ(program.ReadLine(test::patience).value_or("nothing"), "ready");
    std::this_thread::sleep_for(1s);  // as long as it plays
    longest = std::max(longest, TimedStop());
    players.clear();
    const auto cancelled = program.ReadLine(test::patience);
    return std::atoi(cancelled.value_or("0").c_str());
  }

  std::chrono::nanoseconds longest{};
};

TEST_P(SlowLineAt, EveryStreamEndsWithCancelledAtStop) {
  const test::OtherHost other;
  if (!other.Made()) GTEST_SKIP() << "needs root, to make a network namespace";
  Process line({"/usr/bin/python3", CORVALUX_SLOW_LINE, other.Name(), "40", std::to_string(GetParam())});
  ASSERT_EQ(line.ReadLine(test::patience).value_or("nothing"), "ready") << line.Errors();
  const int stops = askedFor().value_or(3);
  int cancelled = 0;
  for (int i = 0; i < stops && !HasFailure(); ++i) cancelled += CancelledAtStop(other);
  const int streams = 3 * clients * stops;
  EXPECT_LT(longest, test::stopLimit);
  if (GetParam() >= fastEnough) {  // almost: other programs may take the processors from the line
    EXPECT_GE(cancelled, streams * 9 / 10);
  }
  std::printf("ROW | %d Mbit/s | %d of %d | %.0f ms |\n", GetParam(), cancelled, streams,
              static_cast<double>(longest.count()) / 1e6);
}

/// In every test run one speed; for the table, where the grace period ends.
std::vector<int> speeds() { return askedFor() ? std::vector<int>{1, 2, 3, 4, 5, 6, 8} : std::vector<int>{fastEnough}; }

INSTANTIATE_TEST_SUITE_P(MegabitsASecond, SlowLineAt, testing::ValuesIn(speeds()), testing::PrintToStringParamName());

}  // namespace
