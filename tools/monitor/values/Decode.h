#pragma once

#include <optional>
#include <string>
#include <vector>

#include "monitor/stream/Stream.h"
#include "monitor/values/Value.h"

namespace monitor {

/// The entries of a stream's message, in the engine's order. Nothing when the bytes are not such a message, which
/// includes every message with a text that is not UTF-8.
/// Threads: any.
std::optional<std::vector<Entry>> decode(Stream stream, const std::string& bytes);

}  // namespace monitor
