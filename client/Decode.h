#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/Message.h"

namespace corvalux::client {

/// The decoded entries of a message.
struct Decoded {
  std::vector<Entry> entries;  ///< in the engine's order
  uint32_t repairedTexts = 0;  ///< keys and texts that were not UTF-8
};

/// The serialised entries of a Meter or a Notification, as views into `message`. Nothing if the bytes are not such a
/// message.
/// Threads: any.
std::optional<std::vector<std::string_view>> entriesIn(std::string_view message);

/// The entries of a Meter or a Notification. Nothing if the bytes are not such a message. A text that is not UTF-8 is
/// repaired and counted, and does not cost the message.
/// Threads: any.
std::optional<Decoded> decode(std::string_view message);

/// A message that has arrived; invalid if the bytes are none.
/// Threads: any.
Message messageOf(Stream stream, const Arrival& arrival, std::string bytes);

}  // namespace corvalux::client
