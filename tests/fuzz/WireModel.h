#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sim/KeyValues.h"

namespace fuzz {

/// What a client should see of one entry: a key, and a value unless no known kind was ever written here.
struct ModelEntry {
  std::string key;
  std::optional<sim::Value> value;
};

/// The bytes of a Meter or Notification, written from the wire format, without the library.
std::string encode(const std::vector<ModelEntry>& entries);

}  // namespace fuzz
