#pragma once

#include <optional>
#include <string>

#include "gateway/devices/Device.h"

namespace corvalux::gateway {

struct WorstLevel {
  std::string key;
  double level;         ///< dB
  client::Value value;  ///< the same, of its kind
};

/// The loudest of all levels; nothing before the first.
std::optional<WorstLevel> worstLevel(Device& device);

/// The sum of all counters of clipped samples; nothing before the first and for what no counter can have.
std::optional<double> clipCount(Device& device);

}  // namespace corvalux::gateway
