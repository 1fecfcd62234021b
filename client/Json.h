#pragma once

#include <string>

#include "client/Message.h"

namespace corvalux::client {

/// The message as one JSON object, without a newline. Numbers that JSON lacks become "NaN", "Infinity", "-Infinity".
std::string jsonOf(const Message& message);

}  // namespace corvalux::client
