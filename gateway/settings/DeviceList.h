#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "gateway/devices/Device.h"

namespace corvalux::gateway {

/// Of a device or a gateway: [A-Za-z0-9_-]{1,64}.
bool isName(std::string_view text);

/// The same from any text.
std::string nameFrom(const std::string& text);

/// Of texts [NAME=]ADDRESS. A device without a name gets one from its address. Throws std::invalid_argument with a
/// sentence: for a name that is not [A-Za-z0-9_-]{1,64}, an empty address, and a name that is given twice.
std::vector<DeviceAddress> deviceList(const std::vector<std::string>& texts);

}  // namespace corvalux::gateway
