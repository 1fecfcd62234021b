// Everything at once, for a given time: cadence, churn, stalls, kills, garbage and restarts.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <memory>
#include <random>

#include "faults/FaultyClient.h"
#include "sim/Ticker.h"
#include "support/ModuleTest.h"
#include "support/ProcessUse.h"
#include "support/StreamClient.h"

namespace {

using namespace std::chrono_literals;

constexpr auto roundTime = 4s;

/// The duration: short, or CORVALUX_SOAK_SECONDS.
std::chrono::seconds soakTime() {
  const char* text = std::getenv("CORVALUX_SOAK_SECONDS");
  return std::chrono::seconds(text ? std::atoi(text) : 16);
}

/// A list whose every value follows from its counter.
sim::KeyValues listOf(uint32_t counter) {
  return {{"counter", counter},
          {"text", std::to_string(counter)},
          {"levels", std::vector<float>(counter % 700, static_cast<float>(counter % 1000))}};
}

/// Whether these are the bytes of a list of that kind; its counter.
std::optional<uint32_t> checkedCounter(const std::string& bytes) {
  corvalux::grpc::Meter meter;
  if (!meter.ParseFromString(bytes) || meter.entries_size() != 3) return std::nullopt;
  const uint32_t counter = meter.entries(0).value().uint_value();
  const auto& levels = meter.entries(2).value().float_array().values();
  const bool same = meter.entries(1).value().string_value().data() == std::to_string(counter) &&
                    levels.size() == static_cast<int>(counter % 700) &&
                    std::all_of(levels.begin(), levels.end(),
                                [&](float level) { return level == static_cast<float>(counter % 1000); });
  return same ? std::optional(counter) : std::nullopt;
}

class Soak : public test::ModuleTest {
 protected:
  void TearDown() override {
    tickers.clear();
    ModuleTest::TearDown();
  }

  void SetUp() override {
    // Connections that are reset by the hundred are open here for a moment each.
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
  }

  void Play() {
    const auto play = [this](std::chrono::milliseconds period, sim::Event event) {
      tickers.push_back(std::make_unique<sim::Ticker>(
          period, [this, event, counter = 0U]() mutable { engine.Emit(event, listOf(++counter)); }));
    };
    play(20ms, sim::Event::meterFast);
    play(100ms, sim::Event::meterSlow);
    play(50ms, sim::Event::changes);
  }

  /// One start and stop of the module, among clients of every sort.
  void Round() {
    ASSERT_EQ(instance.Start({{"serverUrl", address}, {"grpc_memory_kb", 131072}}), 0);
    std::list<test::StreamClient> healthy;
    for (const auto& method : {test::fastMethod, test::slowMethod, test::changesMethod}) {
      healthy.emplace_back(address, method);
      healthy.emplace_back(address, method);
    }
    Torment();
    for (test::StreamClient& client : healthy) EXPECT_TRUE(client.WaitForMessages(20));
    longestStop = std::max(longestStop, TimedStop());
    for (test::StreamClient& client : healthy) Check(client);
  }

  /// Starts and kills bad clients until the round is over.
  void Torment() {
    static constexpr std::array kinds = {
        "stall", "tiny-window",     "reset-mid-frame", "random-bytes", "malformed-frames",
        "churn", "unknown-methods", "slow-handshake",  "read",         "oversized-headers"};
    std::list<test::FaultyClient> clients;
    for (const auto end = std::chrono::steady_clock::now() + roundTime; std::chrono::steady_clock::now() < end;) {
      clients.emplace_back(kinds[random() % kinds.size()], address, 60.0);
      if (random() % 3 == 0) clients.back().Signal(SIGSTOP);
      if (clients.size() > 5) clients.pop_front();  // killed
      std::this_thread::sleep_for(100ms);
    }
  }

  void Check(test::StreamClient& client) {
    EXPECT_TRUE(client.WaitForStatus());
    uint32_t last = 0;
    for (const std::string& bytes : client.Messages()) {
      const auto counter = checkedCounter(bytes);
      ASSERT_TRUE(counter) << "not the bytes of any list";
      ASSERT_GT(*counter, last) << "the counter fell";
      last = *counter;
      ++messages;
    }
  }

  std::mt19937 random{1};
  std::vector<std::unique_ptr<sim::Ticker>> tickers;
  std::chrono::nanoseconds longestStop{};
  std::size_t messages = 0;
};

TEST_F(Soak, EverythingTogether) {
  Play();
  for (int warmUp = 0; warmUp < 2; ++warmUp) Round();  // what the libraries never free is allocated by now
  log.Clear();
  engine.Forget();
  const auto before = test::ProcessUse::Now();
  int rounds = 0;
  for (const auto end = std::chrono::steady_clock::now() + soakTime(); std::chrono::steady_clock::now() < end;) {
    ASSERT_NO_FATAL_FAILURE(Round());
    log.Clear();
    engine.Forget();
    if (HasFailure()) break;
    ++rounds;
  }
  const auto after = test::ProcessUse::Now();
  EXPECT_GT(rounds, 0);
  EXPECT_LE(after.descriptors, before.descriptors);
  EXPECT_LE(after.threads, before.threads + 4);
  EXPECT_LT(after.heapKb, before.heapKb + 4096);
  EXPECT_LT(longestStop, test::stopLimit);
  std::cout << "ROW | soak | " << rounds << " restarts | " << messages << " messages checked | longest stop "
            << std::chrono::duration_cast<std::chrono::milliseconds>(longestStop).count() << " ms | before: " << before
            << "; after: " << after << " |\n";
}

}  // namespace
