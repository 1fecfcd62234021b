#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "fanout/client/ServerProcess.h"

namespace bench {

bool isBroker(const std::string& kind);

/// Starts a program, and waits until it listens on the loopback port. Its log goes to the folder.
std::unique_ptr<ServerProcess> startListening(const std::string& name, const std::vector<std::string>& command,
                                              uint16_t port, const std::filesystem::path& folder);

/// Starts "nats-server", "mosquitto" or "redis-server" on the loopback port and waits until it listens. Configured to
/// persist nothing and to drop no slow subscriber. Its files go to the folder.
std::unique_ptr<ServerProcess> startBroker(const std::string& kind, uint16_t port, const std::filesystem::path& folder);

}  // namespace bench
