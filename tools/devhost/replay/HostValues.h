#pragma once

#include <optional>
#include <string>

#include "sim/KeyValues.h"

namespace replay {

/// The host list for which a module sends exactly these bytes: of a Meter, or of a Notification. Nothing when there is
/// no such list: the bytes are no such message, or one of a newer schema.
/// A value without a kind becomes one of an unknown kind. In a Meter that gives the same bytes only where the module
/// has not sent another value at this place before: it keeps that one, as it did in the recording.
std::optional<sim::KeyValues> hostValuesOf(const std::string& message);

}  // namespace replay
