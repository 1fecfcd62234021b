// Where libnats is missing.
#include <stdexcept>

#include "gateway/fleet/Connection.h"

namespace corvalux::gateway {

bool fleetIsBuilt() { return false; }

std::unique_ptr<Bus> connectNats(const FleetSettings& /*settings*/, const std::string& /*inbox*/,
                                 std::function<void(const Incoming&)> /*take*/) {
  throw std::runtime_error("this build has no fleet");
}

}  // namespace corvalux::gateway
