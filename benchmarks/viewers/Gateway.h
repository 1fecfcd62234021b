#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "fanout/client/ServerProcess.h"

namespace bench {

/// Starts the gateway on the loopback port, follows the module on the other one as "desk", and waits until it listens.
/// With limits that a thousand viewers from one address do not reach.
std::unique_ptr<ServerProcess> startGateway(uint16_t port, uint16_t modulePort, const std::filesystem::path& folder);

}  // namespace bench
