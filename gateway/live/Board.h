#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "gateway/devices/Devices.h"
#include "gateway/http/Reply.h"

namespace corvalux::gateway {

/// What viewers get of all devices: what has changed since they got it last, made once for all who got it together.
/// Threads: the loop's.
class Board {
 public:
  explicit Board(Devices& devices) : devices(devices) {}

  /// Looks what has changed. What is made until the next look is the same for all.
  void Look();
  /// Counts looks, from 1; 0 before the first.
  uint64_t Round() const { return round; }
  /// A message of the devices that have changed since a round, all of them since 0; null if none has. `statesOnly`: not
  /// those of which only values have.
  Octets Since(uint64_t since, bool statesOnly);

 private:
  struct Known {
    std::weak_ptr<Device> device;  ///< one that came back is another one
    uint64_t values = 0;           ///< changes with what the device has received
    std::string state;
    uint64_t changed = 0;  ///< rounds
    uint64_t entered = 0;
  };

  Octets Make(uint64_t since, bool statesOnly);

  Devices& devices;
  uint64_t round = 0;
  std::map<std::string, Known> known;
  std::map<std::string, uint64_t> gone;  ///< when; names that are back are not among them
  std::map<std::pair<uint64_t, bool>, Octets> made;
};

}  // namespace corvalux::gateway
