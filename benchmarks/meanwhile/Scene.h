#pragma once

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/server.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

#include "fanout/client/Subscribers.h"
#include "sim/Engine.h"
#include "sim/Instance.h"
#include "sim/LoadedModule.h"
#include "support/FreePort.h"
#include "support/Loads.h"
#include "support/Wire.h"

namespace bench {

/// The module with clients that read its fast stream, and another gRPC server in the same process.
/// Threads: use on one thread at a time. Throws std::exception when something does not start, or not in time.
class Scene {
 public:
  Scene(const char* moduleFile, std::size_t clients);
  ~Scene();
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;

  /// How many milliseconds `action` takes: at rest, or while a hand-out that has just begun runs on another thread.
  double Time(bool inHandOut, const std::function<void()>& action);

  /// How many milliseconds an event takes.
  double TimeHandOut();

  void Emit(sim::Event event) { engine.Emit(event, load.values); }

  void Stop() { instance->Stop(); }

  /// After a stop: starts the module again, and connects as many clients as before.
  void Restart();

  const uint16_t port = test::freePort();
  const uint16_t otherPort = test::freePort();

 private:
  void Start();
  void Subscribe();
  void Leave();

  sim::LoadedModule module;
  const std::size_t clients;
  const Load load = mediumLoad();
  const NumberOffsets offsets = {{wireBytes(load, 0).size(), sequenceOffset(load)}};
  sim::Engine engine;
  ::grpc::CallbackGenericService service;
  std::unique_ptr<::grpc::Server> server;
  std::unique_ptr<sim::Instance> instance;
  std::unique_ptr<Subscribers> subscribers;
  std::jthread reader;
};

}  // namespace bench
