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
  int64_t serverNs = 0;     ///< CPU time of the server, or of the broker
  int64_t publisherNs = 0;  ///< CPU time of the engine's process, when the server is a broker
  std::size_t threads = 0;  ///< of the server
  std::vector<int64_t> heldNs;
  std::vector<int64_t> latencyNs;
};

/// One server with its engine and its subscribers. The engine is idle except while one of these functions runs. Every
/// function throws std::exception when the server misbehaves or exceeds the time limit.
class Contender {
 public:
  /// `kind`: module, minimal, ordinary, floor, or a broker's name. `folder` takes its files; `wrapper` is a command
  /// that runs the engine's process, such as valgrind with its options.
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
  /// Emits events at the engine's pace.
  Observation Paced(std::size_t events);

  std::size_t ResidentBytes() const { return Server().ResidentBytes(); }

  /// Starts and stops callgrind's counting, if it is the wrapper.
  void StartCounting() { Ask(Command::startCounting); }
  void StopCounting() { Ask(Command::stopCounting); }

 private:
  using Clock = std::chrono::steady_clock;

  bool IsBroker() const { return broker != nullptr; }
  const ServerProcess& Server() const { return IsBroker() ? *broker : *engine; }
  void StartEngine(const std::filesystem::path& folder, std::vector<std::string> arguments);
  void Send(const Command& command) const;
  void AwaitDone();
  void Ask(Command::What what);
  void WaitUntilQuiet();
  Observation Observe(uint32_t first, int64_t serverBefore, int64_t publisherBefore);

  const std::string kind;
  const uint16_t port;
  int commands = -1;
  int timelineFile = -1;
  Timeline* timeline = nullptr;
  NumberOffsets numberOffsets;
  std::unique_ptr<ServerProcess> broker;
  std::unique_ptr<ServerProcess> engine;
  std::unique_ptr<Subscribers> subscribers;
};

}  // namespace bench
