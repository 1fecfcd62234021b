#include "gateway/live/Board.h"

#include <utility>

#include "client/Encode.h"
#include "client/Json.h"
#include "client/Utf8.h"
#include "corvalux/live/live.pb.h"
#include "gateway/devices/Summary.h"

namespace corvalux::gateway {

namespace {

using client::Stream;

uint64_t valuesOf(const Device& device) {
  uint64_t sum = 0;
  for (const Stream stream : client::allStreams) sum += device.Values().Sequence(stream);
  return sum;
}

double seconds(Device::Clock::duration time) { return std::chrono::duration<double>(time).count(); }

live::DeviceState stateOf(DeviceState state) {
  static_assert(static_cast<int>(DeviceState::connecting) + 1 == int{live::DEVICE_STATE_CONNECTING});
  static_assert(static_cast<int>(DeviceState::lost) + 1 == int{live::DEVICE_STATE_LOST});
  return static_cast<live::DeviceState>(static_cast<int>(state) + 1);
}

/// A parser refuses a whole message for a text that is not UTF-8.
std::string text(std::string given) {
  client::repairUtf8(given);
  return given;
}

void fill(Device& device, Device::Clock::time_point now, live::DeviceSummary& to) {
  to.set_name(device.Where().name);
  to.set_address(text(device.Where().address));
  to.set_state(stateOf(device.State()));
  to.set_reason(text(device.Reason()));
  to.set_since(client::secondsOf(device.Since()));
  if (const auto age = device.Age(now)) to.set_age(seconds(*age));
  if (const auto worst = worstLevel(device)) {
    to.mutable_worst()->set_key(worst->key);
    to.mutable_worst()->set_level(worst->level);
  }
  if (const auto clips = clipCount(device)) to.set_clips(*clips);
  if (device.Values().Changes().empty()) return;
  const Change& last = device.Values().Changes().front();
  to.mutable_last_change()->set_age(seconds(now - last.arrival.steady));
  to.mutable_last_change()->mutable_entry()->ParseFromString(client::serialised(last.entry));
}

}  // namespace

void Board::Look() {
  ++round;
  made.clear();
  for (auto each = known.begin(); each != known.end();) {
    if (devices.Find(each->first)) {
      ++each;
      continue;
    }
    gone[each->first] = round;
    each = known.erase(each);
  }
  for (const auto& [name, device] : devices.All()) {
    Known& of = known[name];
    const uint64_t values = valuesOf(*device);
    std::string state = std::string(nameOf(device->State())) + device->Where().address + device->Reason();
    const bool another = of.device.lock() != device;
    if (another || of.values != values || of.state != state) of.changed = round;
    if (another || of.state != state) of.entered = round;
    of.device = device;
    of.values = values;
    of.state = std::move(state);
    gone.erase(name);
  }
}

Octets Board::Since(uint64_t since, bool statesOnly) {
  const auto [place, isNew] = made.try_emplace({since, statesOnly});
  if (isNew) place->second = Make(since, statesOnly);
  return place->second;
}

Octets Board::Make(uint64_t since, bool statesOnly) {
  live::ToViewer message;
  auto& to = *message.mutable_devices();
  const auto now = Device::Clock::now();
  for (const auto& [name, of] : known) {
    Device* device = devices.Find(name);
    if (device && (statesOnly ? of.entered : of.changed) > since) fill(*device, now, *to.add_devices());
  }
  for (const auto& [name, when] : gone) {
    if (when > since && since > 0) to.add_gone(name);
  }
  if (since > 0 && to.devices().empty() && to.gone().empty()) return nullptr;
  return std::make_shared<const std::string>(message.SerializeAsString());
}

}  // namespace corvalux::gateway
