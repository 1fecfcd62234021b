#pragma once

#include <cstddef>
#include <string>

namespace corvalux::gateway {

struct FleetSettings {
  std::string url;           ///< of the NATS server; empty: there is no fleet. It may have a password, so is not logged
  std::string passwordFile;  ///< has the password of the user in `url`, which it is added to; empty: none
  std::string name;          ///< of this gateway
  std::size_t devices = 1'000;  ///< of other gateways, at most
};

}  // namespace corvalux::gateway
