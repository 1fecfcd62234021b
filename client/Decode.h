#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "client/Value.h"

namespace corvalux::client {

/// What the entries of a message say.
struct Decoded {
  std::vector<Entry> entries;  ///< in the engine's order
  uint32_t repairedTexts = 0;  ///< keys and texts that were not UTF-8
};

/// The serialised entries of a Meter or a Notification, as pieces of `message`. Nothing when the bytes are not such a
/// message.
/// Threads: any.
std::optional<std::vector<std::string_view>> entriesIn(std::string_view message);

/// The entries of a Meter or a Notification. Nothing when the bytes are not such a message. A text that is not UTF-8
/// costs only itself: it is repaired and counted.
/// Threads: any.
std::optional<Decoded> decode(std::string_view message);

}  // namespace corvalux::client
