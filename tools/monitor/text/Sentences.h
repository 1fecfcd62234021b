#pragma once

#include <string>

#include "client/Listener.h"

namespace corvalux::monitor {

/// The state as a sentence about the address.
std::string sentenceOf(const client::ConnectionState& state, const std::string& address);

}  // namespace corvalux::monitor
