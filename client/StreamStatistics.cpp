#include "client/StreamStatistics.h"

#include <algorithm>
#include <cmath>

#include "client/Key.h"

namespace corvalux::client {

namespace {

using Seconds = std::chrono::duration<double>;

/// The samples of the last window, and the time that they cover.
template <typename Samples>
auto recent(const Samples& samples, StreamStatistics::Clock::time_point now) {
  const auto begin = std::find_if(samples.begin(), samples.end(),
                                  [now](const auto& sample) { return now - sample.time <= StreamStatistics::window; });
  return std::pair(begin, samples.end());
}

}  // namespace

void StreamStatistics::Take(const Message& message) {
  const auto now = message.arrival.steady;
  const auto interval = before ? std::optional(Seconds(now - *before).count()) : std::nullopt;
  newest = before = now;
  samples.push_back({now, message.bytes.size(), interval});
  while (now - samples.front().time > window) samples.pop_front();
  ++messages;
  bytes += message.bytes.size();
  repaired += message.repairedTexts;
  if (message.valid) {
    Count(message);
  } else {
    ++rejected;
    counter.reset();
  }
}

void StreamStatistics::Count(const Message& message) {
  const auto entry = std::find_if(message.entries.begin(), message.entries.end(), [](const Entry& candidate) {
    return std::holds_alternative<uint32_t>(candidate.value) && lastPart(candidate.key) == "counter";
  });
  if (entry == message.entries.end()) return;
  const uint32_t number = std::get<uint32_t>(entry->value);
  // A counter that goes back or far ahead means that the engine was restarted, not a gap. Unsigned, so that it may
  // wrap.
  const uint32_t step = counter ? number - *counter : 1;
  if (step > 1 && step < 0x80000000U) missed += step - 1;
  counter = number;
}

void StreamStatistics::Interrupt() {
  before.reset();
  counter.reset();
}

double StreamStatistics::MessagesPerSecond(Clock::time_point now) const {
  const auto [begin, end] = recent(samples, now);
  if (begin == end) return 0;
  // A new stream does not fill the window yet.
  const double covered = std::max(Seconds(now - begin->time).count(), 0.001);
  if (messages == samples.size()) return static_cast<double>(end - begin - 1) / covered;
  return static_cast<double>(end - begin) / Seconds(window).count();
}

double StreamStatistics::BytesPerSecond(Clock::time_point now) const {
  const auto [begin, end] = recent(samples, now);
  double sum = 0;
  for (auto sample = begin; sample != end; ++sample) sum += static_cast<double>(sample->bytes);
  return begin == end ? 0 : sum / static_cast<double>(end - begin) * MessagesPerSecond(now);
}

double StreamStatistics::JitterMs(Clock::time_point now) const {
  const auto [begin, end] = recent(samples, now);
  double count = 0;
  double sum = 0;
  double squares = 0;
  for (auto sample = begin; sample != end; ++sample) {
    if (!sample->interval) continue;
    ++count;
    sum += *sample->interval;
    squares += *sample->interval * *sample->interval;
  }
  if (count < 2) return 0;
  return 1000 * std::sqrt(std::max(0.0, squares / count - sum / count * (sum / count)));
}

std::optional<StreamStatistics::Clock::duration> StreamStatistics::Age(Clock::time_point now) const {
  return newest ? std::optional(now - *newest) : std::nullopt;
}

}  // namespace corvalux::client
