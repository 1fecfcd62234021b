#pragma once

#include "corvalux/grpc/streams.pb.h"
#include "fanout/server/Subject.h"

namespace bench {

/// Registers for the engine's fast meters, as a module would.
void registerForMeters(sim::Engine& engine, EngineCallback callback, void* user);

/// A server that the module is compared with: refills a message from the engine's list, and sends it. Only floats and
/// arrays of floats; throws std::invalid_argument for others.
class MeterSubject : public Subject {
 protected:
  explicit MeterSubject(sim::Engine& engine);

 private:
  virtual void Send(const corvalux::grpc::Meter& message) = 0;
  void Receive(KeyValueList list);

  corvalux::grpc::Meter message;  // refilled by each event
};

}  // namespace bench
