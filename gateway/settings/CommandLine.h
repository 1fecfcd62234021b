#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "gateway/api/Api.h"
#include "gateway/devices/Device.h"
#include "gateway/fleet/FleetSettings.h"
#include "gateway/http/HttpServer.h"

namespace corvalux::gateway {

/// All that can be set, on the command line and in the file that it names.
struct Settings {
  std::vector<DeviceAddress> devices;
  DeviceSettings device;
  HttpSettings http;
  ApiLimits api;
  LiveLimits live;
  FleetSettings fleet;
  std::string page;  ///< a folder; empty: the installed one, if there is one
  bool checkOnly = false;
};

/// What is wrong with the command line or the file, as a sentence.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads the command line and the file that it names; what is given in both counts as on the command line. Nothing when
/// it has printed help or the version, and there is nothing to run. Throws UsageError.
std::optional<Settings> readSettings(int argc, const char* const* argv);

}  // namespace corvalux::gateway
