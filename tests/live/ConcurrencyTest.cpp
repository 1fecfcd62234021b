// Engine threads and clients at the same time.
#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "live/LiveTest.h"
#include "sim/Ticker.h"

namespace {

using namespace std::chrono_literals;
using sim::Event;
using test::counted;
using test::StreamClient;

class Concurrency : public test::LiveTest {
 protected:
  /// A list of `counter % 20` entries, whose keys and array elements all are `counter`.
  static sim::KeyValues uniform(uint32_t counter) {
    sim::KeyValues values;
    for (uint32_t i = 0; i < counter % 20; ++i) {
      values.push_back({std::to_string(counter), std::vector<uint32_t>(counter % 50 + 1, counter)});
    }
    return values;
  }

  static bool IsUniform(const std::string& bytes) { return IsUniform(bytes, 0) || IsUniform(bytes, 1); }

  /// Whether all of the message comes from one list, and its counter has that parity.
  static bool IsUniform(const std::string& bytes, uint32_t parity) {
    ::corvalux::grpc::Notification message;
    if (!message.ParseFromString(bytes)) return false;
    for (const auto& entry : message.entries()) {
      const auto& values = entry.value().uint_array().values();
      if (entry.key() != message.entries(0).key() || values.empty()) return false;
      for (const uint32_t value : values) {
        if (value % 2 != parity || std::to_string(value) != entry.key()) return false;
      }
    }
    return true;
  }
};

TEST_F(Concurrency, FastAndSlowMetersRunInParallelUnmixed) {
  StartRoomyModule();
  StreamClient fast(address, test::fastMethod);
  StreamClient slow(address, test::slowMethod);
  ASSERT_TRUE(EmitUntil(Event::meterFast, {}, [&] { return !fast.Messages().empty(); }));
  ASSERT_TRUE(EmitUntil(Event::meterSlow, {}, [&] { return !slow.Messages().empty(); }));
  const auto emit = [this](Event event, uint32_t parity) {
    for (uint32_t i = 0; i < 2000; ++i) engine.Emit(event, uniform(2 * i + parity));
  };
  {
    const std::jthread even([&] { emit(Event::meterFast, 0); });
    const std::jthread odd([&] { emit(Event::meterSlow, 1); });
  }
  ASSERT_TRUE(Delivered(Event::meterFast, uniform(18), fast));
  ASSERT_TRUE(Delivered(Event::meterSlow, uniform(19), slow));
  EXPECT_THAT(fast.Messages(), testing::Each(testing::Truly([](auto& bytes) { return IsUniform(bytes, 0); })));
  EXPECT_THAT(slow.Messages(), testing::Each(testing::Truly([](auto& bytes) { return IsUniform(bytes, 1); })));
}

TEST_F(Concurrency, ChangeEventsOverlapUnmixed) {
  StartRoomyModule();
  StreamClient client(address, test::changesMethod);
  ASSERT_TRUE(EmitUntil(Event::changes, {}, [&] { return !client.Messages().empty(); }));
  {
    std::vector<std::jthread> threads;
    for (uint32_t thread = 0; thread < 4; ++thread) {
      threads.emplace_back([this, thread] {
        for (uint32_t i = 0; i < 1000; ++i) engine.Emit(Event::changes, uniform(4 * i + thread));
      });
    }
  }
  ASSERT_TRUE(Delivered(Event::changes, uniform(19), client));
  EXPECT_THAT(client.Messages(), testing::Each(testing::Truly([](auto& bytes) { return IsUniform(bytes); })));
}

TEST_F(Concurrency, EveryStreamOfManyThatComeAndGoEndsOnce) {
  StartRoomyModule();
  std::vector<std::unique_ptr<sim::Ticker>> events;
  for (const Event event : {Event::meterFast, Event::meterSlow, Event::changes}) {
    events.push_back(std::make_unique<sim::Ticker>(200us, [this, event] { engine.Emit(event, counted(1, 100)); }));
  }
  std::atomic<std::size_t> served = 0;
  const auto comeAndGo = [&](uint32_t seed) {
    std::minstd_rand random(seed);
    const std::string methods[] = {test::fastMethod, test::slowMethod, test::changesMethod};
    auto channel = test::connect(address);
    for (int i = 0; i < 60; ++i) {
      if (random() % 8 == 0) channel = test::connect(address);
      const bool reads = random() % 4 != 0;
      StreamClient client(channel, methods[random() % 3], reads);
      if (reads && random() % 3 == 0) {
        served += client.WaitForMessages(1) ? 1 : 0;
      } else {  // cancels before, while or after the server sees the call
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
      }
    }
  };
  {
    std::vector<std::jthread> clients;
    for (uint32_t seed = 1; seed <= 6; ++seed) clients.emplace_back(comeAndGo, seed);
  }
  EXPECT_GT(served, 10U);
  EXPECT_LT(TimedStop(), 2s) << "a stream is left";
  EXPECT_GE(log.Count(1, "OnDone invoked"), served);
  EXPECT_EQ(log.Count(1, "OnDone invoked"), log.Count(1, "calling Finish on reactor"));
  EXPECT_EQ(log.Count(3, ""), 0U);
  EXPECT_EQ(log.Count(4, ""), 0U);
}

}  // namespace
