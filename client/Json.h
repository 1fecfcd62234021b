#pragma once

#include <chrono>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "client/Message.h"

namespace corvalux::client {

/// The message as one JSON object, without a newline. Numbers that JSON lacks become "NaN", "Infinity", "-Infinity".
std::string jsonOf(const Message& message);
/// The same of some entries.
std::string jsonOf(Stream stream, std::chrono::system_clock::time_point time, const std::vector<const Entry*>& entries);

/// The value as in a message.
nlohmann::ordered_json jsonOf(const Value& value);
/// Seconds since 1970, to the microsecond.
double secondsOf(std::chrono::system_clock::time_point time);

}  // namespace corvalux::client
