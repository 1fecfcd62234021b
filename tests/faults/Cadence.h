#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "sim/Engine.h"
#include "sim/Ticker.h"
#include "support/StreamClient.h"

namespace test {

/// What the engine and a healthy client saw during a while.
struct Observation {
  std::size_t emitted = 0;            ///< fast lists
  std::size_t received = 0;           ///< messages at the healthy client
  std::chrono::nanoseconds median{};  ///< of the time that the module held the engine's thread for a list
  std::chrono::nanoseconds percentile99{};
  std::chrono::nanoseconds longestGap{};  ///< between two messages at the healthy client

  double Delivered() const { return emitted == 0 ? 0 : static_cast<double>(received) / static_cast<double>(emitted); }
};

/// An engine that plays a steady cadence to a healthy client, on a connection of its own, and measures both.
class Cadence {
 public:
  /// Create it before the module registers its callbacks.
  explicit Cadence(sim::Engine& engine);

  /// Starts to play, and waits until the healthy client receives it.
  void Start(const std::string& address);
  void Stop();

  /// Observes for `length`.
  Observation Observe(std::chrono::milliseconds length);

  /// Whether the counter only rose, as the healthy client received it.
  bool OnlyRose();

 private:
  std::vector<std::chrono::nanoseconds> TakeCallTimes();

  sim::Engine& engine;
  std::mutex mutex;
  std::vector<std::chrono::nanoseconds> callTimes;  // guarded by mutex
  uint32_t counter = 0;                             // touched by the ticker only
  std::unique_ptr<StreamClient> healthy;
  std::unique_ptr<sim::Ticker> ticker;
};

}  // namespace test
