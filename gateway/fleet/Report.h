#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace corvalux::gateway {

/// What an origin says of a device: the payload of `state`.
struct Report {
  std::string state = "connecting";
  std::string reason;
  double since = 0;  ///< seconds since 1970, by the origin's clock
  std::string address;
  bool speaks = false;   ///< the origin publishes the device's streams
  bool gone = false;     ///< it no longer follows the device at all
  uint64_t changes = 0;  ///< Corvalux-Sequence of the newest message of changes; 0 before the first
};

std::string jsonOf(const Report& report);

/// Nothing for what nobody of the fleet writes. Unknown members are ignored.
/// Threads: any.
std::optional<Report> reportOf(std::string_view json);

}  // namespace corvalux::gateway
