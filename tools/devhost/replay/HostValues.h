#pragma once

#include <optional>
#include <string>

#include "sim/KeyValues.h"

namespace replay {

/// The host list for which a module sends exactly these bytes of a Meter or a Notification. Nothing if there is none:
/// the bytes are not such a message, or are one of a newer schema. A value without a kind becomes one of an unknown
/// kind. In a Meter that gives the same bytes only if the module has not sent another value at this place before: it
/// would send that one again, as in the recording.
std::optional<sim::KeyValues> hostValuesOf(const std::string& message);

}  // namespace replay
