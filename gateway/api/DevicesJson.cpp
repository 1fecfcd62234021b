#include "gateway/api/DevicesJson.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <utility>

#include "client/Json.h"
#include "gateway/devices/Summary.h"

namespace corvalux::gateway {

namespace {

using Json = nlohmann::ordered_json;
using client::Stream;
using Clock = Device::Clock;

constexpr std::array summaryStreams = {Stream::fast, Stream::slow};

std::string textOf(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

double rounded(Clock::duration time) { return std::round(std::chrono::duration<double>(time).count() * 1000) / 1000; }

Json secondsOrNull(const std::optional<Clock::duration>& time) { return time ? Json(rounded(*time)) : Json(nullptr); }

Json worstOf(Device& device) {
  const auto worst = worstLevel(device);
  return worst ? Json{{"key", worst->key}, {"level", client::jsonOf(worst->value)}} : Json(nullptr);
}

Json clipsOf(Device& device) {
  const auto clips = clipCount(device);
  return clips ? Json(static_cast<int64_t>(*clips)) : Json(nullptr);
}

Json lastChangeOf(const Device& device, Clock::time_point now) {
  const auto& changes = device.Values().Changes();
  if (changes.empty()) return nullptr;
  const Change& last = changes.front();
  return {{"key", last.entry.key},
          {"value", client::jsonOf(last.entry.value)},
          {"age", rounded(now - last.arrival.steady)}};
}

Json streamsOf(const Device& device, Clock::time_point now) {
  Json streams = Json::object();
  for (const Stream stream : client::allStreams) {
    const auto& statistics = device.Statistics(stream);
    streams[client::nameOf(stream)] = {{"messages", statistics.Messages()},
                                       {"perSecond", std::round(statistics.MessagesPerSecond(now) * 10) / 10},
                                       {"missed", statistics.Missed()},
                                       {"age", secondsOrNull(statistics.Age(now))}};
  }
  return streams;
}

Json exceededOf(const Device& device) {
  const Exceeded over = device.Over();
  return {{"frames", over.frames}, {"keys", over.keys}, {"longKeys", over.longKeys}};
}

Json stateOf(const Device& device) {
  return {{"state", nameOf(device.State())}, {"reason", device.Reason()}, {"since", client::secondsOf(device.Since())}};
}

Json summaryOf(Device& device, Clock::time_point now) {
  Json summary = {{"name", device.Where().name}, {"address", device.Where().address}};
  summary.update(stateOf(device));
  summary.update({{"age", secondsOrNull(device.Age(now))},
                  {"worst", worstOf(device)},
                  {"clips", clipsOf(device)},
                  {"lastChange", lastChangeOf(device, now)},
                  {"streams", streamsOf(device, now)},
                  {"exceeded", exceededOf(device)}});
  return summary;
}

Json valueOf(Stream stream, const client::Entry& entry, uint64_t sequence, Clock::duration age) {
  return {{"stream", client::nameOf(stream)},     {"key", entry.key},     {"kind", client::kindName(entry.value)},
          {"value", client::jsonOf(entry.value)}, {"sequence", sequence}, {"age", rounded(age)}};
}

Octets event(const char* name, const Json& data) {
  return std::make_shared<const std::string>(std::string("event: ") + name + "\ndata: " + textOf(data) + "\n\n");
}

}  // namespace

std::string devicesJson(const Devices& devices, Clock::time_point now) {
  Json list = Json::array();
  for (const auto& [name, device] : devices.All()) list.push_back(summaryOf(*device, now));
  return textOf({{"devices", std::move(list)}}) + "\n";
}

std::string valuesJson(const Device& device, const Patterns& patterns, Clock::time_point now) {
  Json values = Json::array();
  std::set<std::string> known;
  const auto add = [&](Stream stream, const client::Entry& entry, uint64_t sequence, Clock::time_point arrived) {
    if (!patterns.Match(entry.key)) return;
    known.insert(entry.key);
    values.push_back(valueOf(stream, entry, sequence, now - arrived));
  };
  for (const Stream stream : summaryStreams) {
    const auto frame = device.Values().Newest(stream);
    if (!frame) continue;
    for (const auto& entry : frame->message.entries) add(stream, entry, frame->sequence, frame->message.arrival.steady);
  }
  for (const Change& change : device.Values().Changes()) {
    add(Stream::changes, change.entry, change.sequence, change.arrival.steady);
  }
  Json unknown = Json::array();
  for (const Pattern& pattern : patterns.All()) {
    if (pattern.IsKey() && !known.contains(pattern.Text())) unknown.push_back(pattern.Text());
  }
  Json object = {{"device", device.Where().name}};
  object.update(stateOf(device));
  object.update({{"values", std::move(values)}, {"unknown", std::move(unknown)}});
  return textOf(object) + "\n";
}

Octets stateEvent(const Device& device) {
  Json data = {{"device", device.Where().name}};
  data.update(stateOf(device));
  return event("state", data);
}

Octets goneEvent(const Device& device) { return event("gone", {{"device", device.Where().name}}); }

}  // namespace corvalux::gateway
