#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "fanout/Protocol.h"
#include "fanout/client/ServerProcess.h"
#include "fanout/client/Subscribers.h"

namespace bench {

/// What was measured while events were delivered.
struct Observation {
  std::size_t events = 0;
  std::size_t messages = 0;
  int64_t serverNs = 0;     ///< CPU time of the server: the relay, if there is one
  int64_t publisherNs = 0;  ///< CPU time of the engine's process, when another process relays what it sends
  std::size_t threads = 0;  ///< of the server
  std::vector<int64_t> heldNs;
  std::vector<int64_t> heldCpuNs;  ///< of the engine's thread while it was held
  std::vector<int64_t> latencyNs;
  std::vector<int64_t> addedNs;  ///< how much later the second subscriber had a message than the first
  int64_t longestGapNs = 0;      ///< the longest time without a message, of the subscriber that waited longest
};

/// Bytes of the server for one more subscriber.
struct Memory {
  double idle;
  double streaming;  ///< after messages
};

/// One server with its engine and its subscribers. The engine is idle except while one of these functions runs. Every
/// function throws std::exception when the server misbehaves or exceeds the time limit.
class Contender {
 public:
  /// `kind`: module, minimal, ordinary, floor, frames, a broker's name, or gateway, which follows a module; frames-acks
  /// has viewers that acknowledge, gateway-tcp some that do not; fleet is three gateways on NATS, of which the first
  /// follows the module, and viewers are at each in turn. "-again" behind it is left out. `folder` takes its files;
  /// `wrapper` is a command that runs the engine's process, such as valgrind with its options.
  Contender(std::string kind, const std::filesystem::path& folder, std::vector<std::string> wrapper = {});
  ~Contender();
  Contender(const Contender&) = delete;
  Contender& operator=(const Contender&) = delete;

  void SetLoad(const std::string& name);

  /// Changes the number of subscribers; emits no event.
  void Connect(std::size_t count);
  /// Emits events until every subscriber has received one.
  void AwaitSubscriptions();

  /// Emits each event once all subscribers have the one before, for that time and at least five events.
  Observation ClosedLoop(std::chrono::milliseconds time);
  /// Emits events at the engine's pace; observes them after those of `settling`.
  Observation Paced(std::size_t events, std::size_t settling = 0);
  /// Sets that pace.
  void SetCadence(std::chrono::milliseconds time) { cadence = time; }

  /// Lets the newest subscribers read no more, and disconnects those that were stopped before.
  void Stall(std::size_t count) { subscribers->Stall(count); }
  /// While events come at the engine's pace, how long each of so many new viewers waited for all present values.
  std::vector<int64_t> JoinNs(std::size_t times);

  /// Connects so many.
  Memory MemoryPerSubscriber(std::size_t count);

  /// Starts and stops callgrind's counting, if it is the wrapper.
  void StartCounting() { Ask(Command::startCounting); }
  void StopCounting() { Ask(Command::stopCounting); }

 private:
  using Clock = std::chrono::steady_clock;

  const ServerProcess& Server() const { return relay ? *relay : *engine; }
  void StartGateways(const std::filesystem::path& folder);
  void StartEngine(const std::filesystem::path& folder, std::vector<std::string> arguments);
  void Send(const Command& command) const;
  void AwaitDone();
  void Ask(Command::What what);
  void WaitUntilQuiet();
  Observation Observe(uint32_t first, int64_t serverBefore, int64_t publisherBefore);
  int64_t LongestGapNs(uint32_t first, uint32_t end) const;
  std::vector<int64_t> AddedNs(uint32_t first, uint32_t end) const;

  const std::string kind;
  const uint16_t port;
  const uint16_t enginePort;
  std::vector<uint16_t> ports;  ///< of the server
  std::chrono::milliseconds cadence{20};
  int commands = -1;
  int timelineFile = -1;
  Timeline* timeline = nullptr;
  NumberOffsets numberOffsets;
  std::unique_ptr<ServerProcess> relay;               ///< a broker or the gateway
  std::vector<std::unique_ptr<ServerProcess>> fleet;  ///< besides: NATS and other gateways
  std::unique_ptr<ServerProcess> engine;
  std::unique_ptr<Subscribers> subscribers;
};

}  // namespace bench
