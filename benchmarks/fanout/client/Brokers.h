#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "fanout/client/ServerProcess.h"

namespace bench {

bool isBroker(const std::string& kind);

/// Starts "nats-server", "mosquitto" or "redis-server" on the loopback port, set to keep nothing and to drop no slow
/// subscriber, and waits until it listens. Its files go to the folder.
std::unique_ptr<ServerProcess> startBroker(const std::string& kind, uint16_t port, const std::filesystem::path& folder);

}  // namespace bench
