#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "gateway/devices/Devices.h"
#include "gateway/fleet/FleetCounts.h"
#include "gateway/live/LiveCounts.h"

namespace corvalux::gateway {

/// What the gateway knows of its own clients.
struct ClientCounts {
  std::size_t clients = 0;
  std::size_t readers = 0;  ///< of server-sent events
  uint64_t skipped = 0;     ///< frames that slow readers did not get
  LiveCounts live;
  std::map<std::string, uint64_t> refused;  ///< by reason
  std::optional<FleetCounts> fleet;         ///< nothing without one
};

/// All devices and clients in Prometheus' text format. Of keys that repeat within a message only the first is there,
/// since a series may stand there only once. Ends with an incomplete list of values rather than beyond `bytesLimit`.
std::string metricsOf(const Devices& devices, const ClientCounts& counts, Device::Clock::time_point now,
                      std::size_t bytesLimit);

}  // namespace corvalux::gateway
