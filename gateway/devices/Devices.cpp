#include "gateway/devices/Devices.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <utility>

namespace corvalux::gateway {

namespace {

constexpr std::chrono::milliseconds checkInterval{100};

}  // namespace

Devices::Devices(boost::asio::io_context& loop, DeviceSettings settings, std::function<void(const Device&)> entered)
    : loop(loop), settings(std::move(settings)), entered(std::move(entered)), timer(loop) {
  CheckLater();
}

/// One that is another gateway's and now given here is another device, too.
void Devices::Follow(const std::vector<DeviceAddress>& list) {
  std::erase_if(devices, [&](const auto& known) {
    const auto same = [&](const DeviceAddress& where) { return where.name == known.first; };
    if (!known.second->Given()) return std::any_of(list.begin(), list.end(), same);
    return std::find(list.begin(), list.end(), known.second->Where()) == list.end();
  });
  for (const DeviceAddress& where : list) {
    if (!devices.contains(where.name)) Begin(where, true);
  }
}

void Devices::Join(const DeviceAddress& where) {
  if (!devices.contains(where.name)) Begin(where, false);
}

void Devices::Begin(const DeviceAddress& where, bool given) {
  // The device is known to the one who is woken only later, and may be gone by then.
  auto known = std::make_shared<std::weak_ptr<Device>>();
  const auto collect = [known] {
    if (const auto device = known->lock()) device->Collect(Device::Clock::now());
  };
  const DeviceCalls calls{[this, collect] { boost::asio::post(loop, collect); }, entered};
  auto device = std::make_shared<Device>(where, settings, calls, given);
  *known = device;
  devices.emplace(where.name, std::move(device));
}

Device* Devices::Find(const std::string& name) const {
  const auto found = devices.find(name);
  return found == devices.end() ? nullptr : found->second.get();
}

void Devices::CheckLater() {
  timer.expires_after(checkInterval);
  // To cancel the timer does not take back what is due already.
  timer.async_wait([this, exists = std::weak_ptr(token)](const boost::system::error_code& error) {
    if (error || exists.expired()) return;
    const auto now = Device::Clock::now();
    for (const auto& [name, device] : devices) device->CheckSilence(now);
    CheckLater();
  });
}

}  // namespace corvalux::gateway
