#pragma once

#include <string>

namespace corvalux::client {

/// The address of a device, with the port that a device has by default if it names none.
std::string withPort(const std::string& address);

}  // namespace corvalux::client
