#pragma once

#include <cstddef>
#include <string>

namespace bench {

/// The requests of a client of "nats-server", "mosquitto" or "redis-server". One topic: "m".
std::string connectBytes(const std::string& broker);
std::string subscribeBytes(const std::string& broker);
/// What comes before and after a published message of that size.
std::string publishPrefix(const std::string& broker, std::size_t size);
std::string publishSuffix(const std::string& broker);

}  // namespace bench
