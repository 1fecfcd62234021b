#pragma once

#include <string>

#include "sim/KeyValues.h"

namespace corvalux::devhost {

/// What the module listens on when `serverUrl` is not set.
constexpr const char* defaultServerUrl = "0.0.0.0:50005";

/// Sets one key of the module's configuration from "key=value"; a second setting of a key replaces the first.
/// Throws std::invalid_argument, with a one-sentence reason, for a text without "=", a key that the module does not
/// have, or a value of the wrong type.
void set(sim::KeyValues& config, const std::string& keyAndValue);

/// The addresses that a module with this configuration listens on, separated by spaces.
std::string serverUrlOf(const sim::KeyValues& config);

/// The keys with their meaning, one per line, for the help text.
std::string describeKeys();

}  // namespace corvalux::devhost
