#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "gateway/devices/Device.h"

namespace corvalux::gateway {

/// All devices that the gateway follows, by name.
/// Threads: the loop's; what gRPC's threads leave for a device is collected there.
class Devices {
 public:
  /// `entered` is called when a device enters a state.
  Devices(boost::asio::io_context& loop, DeviceSettings settings, std::function<void(const Device&)> entered);

  /// Has connections to these and no others. Those that stay keep their connections and values.
  void Follow(const std::vector<DeviceAddress>& list);

  /// One that other gateways have, unless there is one of this name.
  void Join(const DeviceAddress& where);
  void Leave(const std::string& name) { devices.erase(name); }

  const std::map<std::string, std::shared_ptr<Device>>& All() const { return devices; }
  /// Null for an unknown name.
  Device* Find(const std::string& name) const;

 private:
  void Begin(const DeviceAddress& where, bool given);
  void CheckLater();

  boost::asio::io_context& loop;
  const DeviceSettings settings;
  const std::function<void(const Device&)> entered;
  boost::asio::steady_timer timer;
  const std::shared_ptr<const char> token = std::make_shared<const char>();  ///< while this exists
  /// No one else shares a device; only what is posted to the loop asks whether it still exists.
  std::map<std::string, std::shared_ptr<Device>> devices;
};

}  // namespace corvalux::gateway
