#pragma once

#include <functional>
#include <memory>
#include <string>

#include "gateway/fleet/Bus.h"
#include "gateway/fleet/FleetSettings.h"

namespace corvalux::gateway {

/// A connection to a NATS server, which comes and comes back by itself, on a thread of its own. `take` gets all that
/// comes of devices, and on subjects below `inbox`, on threads of the connection; what it uses must outlive this.
std::unique_ptr<Bus> connectNats(const FleetSettings& settings, const std::string& inbox,
                                 std::function<void(const Incoming&)> take);

}  // namespace corvalux::gateway
