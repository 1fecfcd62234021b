#pragma once

#include <chrono>
#include <string>

#include "gateway/devices/Devices.h"
#include "gateway/http/Reply.h"

namespace corvalux::gateway {

/// All devices with a summary each.
std::string devicesJson(const Devices& devices, Device::Clock::time_point now);
/// The present values of a device. A pattern that is a key, but none that is known, is listed as unknown.
std::string valuesJson(const Device& device, const Patterns& patterns, Device::Clock::time_point now);

/// Server-sent events about a device.
Octets stateEvent(const Device& device);
Octets goneEvent(const Device& device);

}  // namespace corvalux::gateway
