#include "faults/Cadence.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace test {

using namespace std::chrono_literals;

namespace {

constexpr auto period = 20ms;

std::chrono::nanoseconds rank(std::vector<std::chrono::nanoseconds>& sorted, double fraction) {
  if (sorted.empty()) return {};
  return sorted[static_cast<std::size_t>(fraction * static_cast<double>(sorted.size() - 1))];
}

}  // namespace

Cadence::Cadence(sim::Engine& engine) : engine(engine) {
  engine.SetCallObserver([this](sim::Event event, std::chrono::nanoseconds time) {
    const std::lock_guard lock(mutex);
    if (event == sim::Event::meterFast) callTimes.push_back(time);
  });
}

void Cadence::Start(const std::string& address) {
  healthy = std::make_unique<StreamClient>(address, fastMethod);
  ticker = std::make_unique<sim::Ticker>(period, [this] {
    sim::KeyValues list{{"counter", ++counter}};
    for (int i = 0; i < 16; ++i) list.push_back({"input/" + std::to_string(i) + "/peak", -6.0F});
    engine.Emit(sim::Event::meterFast, list);
    engine.Emit(sim::Event::changes, {{"counter", counter}});
  });
  healthy->WaitForMessages(1);
}

void Cadence::Stop() {
  ticker.reset();
  healthy.reset();
}

std::vector<std::chrono::nanoseconds> Cadence::TakeCallTimes() {
  const std::lock_guard lock(mutex);
  return std::exchange(callTimes, {});
}

Observation Cadence::Observe(std::chrono::milliseconds length) {
  TakeCallTimes();
  Observation seen;
  const std::size_t before = healthy->Count();
  std::size_t last = before;
  const auto begin = std::chrono::steady_clock::now();
  auto arrived = begin;
  for (auto now = begin; now < begin + length; now = std::chrono::steady_clock::now()) {
    std::this_thread::sleep_for(2ms);
    const std::size_t count = healthy->Count();
    if (count == last) continue;
    seen.longestGap = std::max<std::chrono::nanoseconds>(seen.longestGap, now - arrived);
    arrived = now;
    last = count;
  }
  auto times = TakeCallTimes();
  std::sort(times.begin(), times.end());
  seen.emitted = times.size();
  seen.received = healthy->Count() - before;
  seen.median = rank(times, 0.5);
  seen.percentile99 = rank(times, 0.99);
  return seen;
}

bool Cadence::OnlyRose() {
  uint32_t last = 0;
  for (const std::string& bytes : healthy->Messages()) {
    if (const uint32_t now = counterOf(bytes); std::exchange(last, now) >= now) return false;
  }
  return last > 0;
}

}  // namespace test
