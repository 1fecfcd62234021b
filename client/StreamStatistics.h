#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>

#include "client/Listener.h"

namespace corvalux::client {

/// The statistics of one stream, from its first message on.
/// Threads: one at a time.
class StreamStatistics {
 public:
  using Clock = std::chrono::steady_clock;

  /// Rate, bytes and jitter are measured over this time.
  static constexpr std::chrono::seconds window{4};

  void Take(const Message& message);
  /// Call it before a reconnect: the counter may restart, and the gap does not count as jitter.
  void Interrupt();

  uint64_t Messages() const { return messages; }
  uint64_t Bytes() const { return bytes; }
  uint64_t Rejected() const { return rejected; }
  /// Texts that were not UTF-8.
  uint64_t Repaired() const { return repaired; }
  /// Messages of the engine that did not arrive, according to the counter among the entries; 0 without one.
  uint64_t Missed() const { return missed; }
  bool HasCounter() const { return counter.has_value(); }

  double MessagesPerSecond(Clock::time_point now) const;
  double BytesPerSecond(Clock::time_point now) const;
  /// The standard deviation of the time between two messages, in ms.
  double JitterMs(Clock::time_point now) const;
  /// Since the newest message; nothing before the first.
  std::optional<Clock::duration> Age(Clock::time_point now) const;

 private:
  struct Sample {
    Clock::time_point time;
    std::size_t bytes;
    std::optional<double> interval;  ///< s, since the message before
  };

  void Count(const Message& message);

  std::deque<Sample> samples;
  std::optional<Clock::time_point> newest;
  std::optional<Clock::time_point> before;  ///< the newest message's time; none after an interruption
  std::optional<uint32_t> counter;
  uint64_t messages = 0;
  uint64_t bytes = 0;
  uint64_t rejected = 0;
  uint64_t repaired = 0;
  uint64_t missed = 0;
};

}  // namespace corvalux::client
