#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "fanout/client/ServerProcess.h"

namespace bench {

/// Starts the gateway on the loopback port with these arguments, and waits until it listens. With limits that a
/// thousand viewers from one address do not reach.
std::unique_ptr<ServerProcess> startGateway(uint16_t port, std::vector<std::string> arguments,
                                            const std::filesystem::path& folder);

/// Waits until the gateway on the loopback port follows a device "desk", be it another gateway's.
void awaitDesk(uint16_t port);

}  // namespace bench
