#pragma once

#include "corvalux/grpc/streams.pb.h"
#include "sim/Engine.h"

namespace bench {

/// Refills a message from the engine's list, for the servers that the module is compared with. Only for floats and
/// arrays of floats; throws std::invalid_argument for other values.
void refill(KeyValueList list, corvalux::grpc::Meter& message);

/// Registers for the engine's fast meters, as a module would.
void hearMeters(sim::Engine& engine, EngineCallback callback, void* user);

}  // namespace bench
