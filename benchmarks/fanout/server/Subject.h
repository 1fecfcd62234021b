#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "sim/Engine.h"
#include "sim/KeyValues.h"
#include "support/Loads.h"

namespace bench {

/// A server that is measured: receives the engine's fast meters, and sends them to its subscribers.
class Subject {
 public:
  Subject() = default;
  virtual ~Subject() = default;
  Subject(const Subject&) = delete;
  Subject& operator=(const Subject&) = delete;

  /// Called before the first event of a load, while the engine is idle.
  virtual void Prepare(const Load& /*load*/) {}

  /// The number of the next event; set by the engine's thread.
  uint32_t sequence = 0;
};

/// Each starts serving on the loopback port, or throws. They exist for the process's lifetime, as the engine does.

/// The built module, as the engine loads it.
std::unique_ptr<Subject> startModule(sim::Engine& engine, uint16_t port);
/// Another build of it, see earlierModule.
std::unique_ptr<Subject> startEarlier(sim::Engine& engine, uint16_t port);
/// The smallest generic gRPC server of the callback kind: serialises once, shares the buffer.
std::unique_ptr<Subject> startMinimal(sim::Engine& engine, uint16_t port);
/// The same with generated stubs: serialises for each client, as most gRPC servers do.
std::unique_ptr<Subject> startOrdinary(sim::Engine& engine, uint16_t port);
/// One thread and epoll; sends bytes that are framed already. Converts and serialises nothing.
std::unique_ptr<Subject> startFloor(sim::Engine& engine, uint16_t port);
/// The same with what a viewer gets over WebSocket.
std::unique_ptr<Subject> startFrames(sim::Engine& engine, uint16_t port);
/// Publishes to a broker that listens on the port: "nats-server", "mosquitto" or "redis-server".
std::unique_ptr<Subject> startPublisher(sim::Engine& engine, uint16_t port, const std::string& broker);

/// The memory quota of every gRPC server here, far more than it needs: see grpc_memory_kb.
constexpr std::size_t quotaKb = 1024UL * 1024;

/// The module's configuration with that memory, for a loopback port.
inline sim::KeyValues moduleConfig(uint16_t port) {
  return {{"serverUrl", "127.0.0.1:" + std::to_string(port)}, {"grpc_memory_kb", static_cast<int32_t>(quotaKb)}};
}

}  // namespace bench
