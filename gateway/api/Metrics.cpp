#include "gateway/api/Metrics.h"

#include <array>
#include <functional>
#include <initializer_list>
#include <optional>
#include <set>
#include <utility>

#include "gateway/api/MetricsText.h"

namespace corvalux::gateway {

namespace {

using client::Stream;
using Clock = Device::Clock;

double seconds(Clock::duration time) { return std::chrono::duration<double>(time).count(); }

/// Writes families of which each device has a line, or one for each stream.
class DeviceFamilies {
 public:
  DeviceFamilies(const Devices& devices, MetricsText& text) : devices(devices), text(text) {}

  void Each(const char* name, const char* type, const char* help,
            const std::function<std::optional<double>(const Device&)>& figure) {
    text.Head(name, type, help);
    for (const auto& [device, of] : devices.All()) {
      if (const auto number = figure(*of)) text.Line({{"device", device}}, *number);
    }
  }

  void EachStream(const char* name, const char* type, const char* help,
                  const std::function<std::optional<double>(const client::StreamStatistics&)>& figure) {
    text.Head(name, type, help);
    for (const auto& [device, of] : devices.All()) {
      for (const Stream stream : client::allStreams) {
        const auto number = figure(of->Statistics(stream));
        if (number) text.Line({{"device", device}, {"stream", client::nameOf(stream)}}, *number);
      }
    }
  }

 private:
  const Devices& devices;
  MetricsText& text;
};

void addStates(const Devices& devices, MetricsText& text) {
  DeviceFamilies families(devices, text);
  families.Each("corvalux_up", "gauge", "Whether the device is connected and sends.",
                [](const Device& device) { return device.State() == DeviceState::live ? 1.0 : 0.0; });
  text.Head("corvalux_device_state", "gauge", "1 for the state that the device is in.");
  for (const auto& [name, device] : devices.All()) {
    for (const auto state : {DeviceState::connecting, DeviceState::live, DeviceState::stale, DeviceState::lost}) {
      text.Line({{"device", name}, {"state", nameOf(state)}}, device->State() == state ? 1 : 0);
    }
  }
  families.Each("corvalux_device_overtaken_total", "counter", "Meter messages that newer ones replaced in the gateway.",
                [](const Device& device) { return static_cast<double>(device.Overtaken()); });
  text.Head("corvalux_device_exceeded_total", "counter", "What was dropped because of a limit.");
  for (const auto& [name, device] : devices.All()) {
    const Exceeded over = device->Over();
    for (const auto& [limit, count] : {std::pair("frame", over.frames), {"keys", over.keys}, {"key", over.longKeys}}) {
      text.Line({{"device", name}, {"limit", limit}}, static_cast<double>(count));
    }
  }
}

void addStreams(const Devices& devices, MetricsText& text, Clock::time_point now) {
  using Statistics = client::StreamStatistics;
  DeviceFamilies families(devices, text);
  const auto count = [](uint64_t (Statistics::*figure)() const) {
    return [figure](const Statistics& of) { return std::optional(static_cast<double>((of.*figure)())); };
  };
  families.EachStream("corvalux_messages_total", "counter", "Messages received.", count(&Statistics::Messages));
  families.EachStream("corvalux_bytes_total", "counter", "Their bytes.", count(&Statistics::Bytes));
  families.EachStream("corvalux_rejected_total", "counter", "Messages that did not parse.",
                      count(&Statistics::Rejected));
  families.EachStream("corvalux_repaired_texts_total", "counter", "Texts that were not UTF-8.",
                      count(&Statistics::Repaired));
  families.EachStream("corvalux_missed_total", "counter", "Messages skipped, by the engine's counter.",
                      count(&Statistics::Missed));
  families.EachStream("corvalux_messages_per_second", "gauge", "Over the last seconds.",
                      [now](const Statistics& of) { return std::optional(of.MessagesPerSecond(now)); });
  families.EachStream("corvalux_message_age_seconds", "gauge", "Since the newest message.",
                      [now](const Statistics& of) -> std::optional<double> {
                        const auto age = of.Age(now);
                        return age ? std::optional(seconds(*age)) : std::nullopt;
                      });
}

void addLevels(const Devices& devices, MetricsText& text, Clock::time_point now) {
  std::map<std::string, std::map<std::string, LevelWindow::Range>> ranges;
  for (const auto& [name, device] : devices.All()) ranges[name] = device->Levels().Ranges(now);
  const auto add = [&](const char* family, const char* help, double LevelWindow::Range::*end) {
    text.Head(family, "gauge", help);
    for (const auto& [device, keys] : ranges) {
      for (const auto& [key, range] : keys) text.Line({{"device", device}, {"key", key}}, range.*end);
    }
  };
  add("corvalux_level_least", "Least level of the window.", &LevelWindow::Range::least);
  add("corvalux_level_greatest", "Greatest level of the window.", &LevelWindow::Range::greatest);
}

/// The newest values of one device, numbers or texts.
class Values {
 public:
  Values(std::string_view device, MetricsText& text, bool texts, std::size_t bytesLimit)
      : device(device), text(text), texts(texts), bytesLimit(bytesLimit) {}

  void Add(Stream stream, const client::Entry& entry) {
    if (Full() || !seen.insert({stream, entry.key}).second) return;
    of = {{"device", device}, {"stream", client::nameOf(stream)}, {"key", entry.key}};
    std::visit([this](const auto& value) { Write(value); }, entry.value);
  }

 private:
  bool Full() const { return text.Bytes() >= bytesLimit; }
  void Write(std::monostate /*none*/) {}
  void Write(const std::string& value) {
    if (texts) Line("text", value, 1);
  }
  void Write(float number) {
    if (!texts) text.Line(of, client::withoutTail(number));
  }
  template <typename T>
  void Write(T number) {
    if (!texts) text.Line(of, static_cast<double>(number));
  }
  template <typename T>
  void Write(const std::vector<T>& list) {
    for (std::size_t i = 0; !texts && i < list.size() && !Full(); ++i) {
      double number = 0;
      if constexpr (std::is_same_v<T, float>) {
        number = client::withoutTail(list[i]);
      } else {
        number = static_cast<double>(list[i]);
      }
      Line("index", std::to_string(i), number);
    }
  }
  void Line(const char* label, const std::string& value, double number) {
    of.emplace_back(label, value);
    text.Line(of, number);
    of.pop_back();
  }

  const std::string_view device;
  MetricsText& text;
  const bool texts;
  const std::size_t bytesLimit;
  MetricsText::Labels of;
  std::set<std::pair<Stream, std::string_view>> seen;
};

void addValues(const Devices& devices, MetricsText& text, bool texts, std::size_t bytesLimit) {
  for (const auto& [name, device] : devices.All()) {
    Values values(name, text, texts, bytesLimit);
    for (const Stream stream : {Stream::fast, Stream::slow}) {
      const auto frame = device->Values().Newest(stream);
      if (!frame) continue;
      for (const client::Entry& entry : frame->message.entries) values.Add(stream, entry);
    }
    for (const Change& change : device->Values().Changes()) values.Add(Stream::changes, change.entry);
  }
}

void addClients(const ClientCounts& counts, MetricsText& text) {
  text.Head("corvalux_gateway_clients", "gauge", "Connections to the gateway.");
  text.Line({}, static_cast<double>(counts.clients));
  text.Head("corvalux_gateway_readers", "gauge", "Those that read a stream.");
  text.Line({}, static_cast<double>(counts.readers));
  text.Head("corvalux_gateway_skipped_total", "counter", "Meter messages that slow readers did not get.");
  text.Line({}, static_cast<double>(counts.skipped));
  text.Head("corvalux_gateway_viewers", "gauge", "Viewers over WebSocket.");
  text.Line({}, static_cast<double>(counts.live.viewers));
  text.Head("corvalux_gateway_updates_total", "counter", "Updates that were sent to viewers.");
  text.Line({}, static_cast<double>(counts.live.updates));
  text.Head("corvalux_gateway_merged_total", "counter", "Messages that were merged into updates to viewers.");
  text.Line({}, static_cast<double>(counts.live.merged));
  text.Head("corvalux_gateway_refused_total", "counter", "Clients and requests that were refused.");
  for (const auto& [reason, count] : counts.refused) text.Line({{"reason", reason}}, static_cast<double>(count));
}

void addFleet(const FleetCounts& fleet, MetricsText& text) {
  const auto add = [&text](const char* name, const char* type, const char* help, uint64_t count) {
    text.Head(name, type, help);
    text.Line({}, static_cast<double>(count));
  };
  const auto addEach = [&text](const char* name, const char* help,
                               std::initializer_list<std::pair<const char*, uint64_t>> counts) {
    text.Head(name, "counter", help);
    for (const auto& [reason, count] : counts) text.Line({{"reason", reason}}, static_cast<double>(count));
  };
  add("corvalux_fleet_connected", "gauge", "Whether there is a connection to the NATS server.",
      fleet.connected ? 1 : 0);
  add("corvalux_fleet_speaking", "gauge", "Devices that this gateway publishes.", fleet.speaking);
  add("corvalux_fleet_remote", "gauge", "Devices that only other gateways have.", fleet.remote);
  const PublishedCounts& out = fleet.published;
  add("corvalux_fleet_published_total", "counter", "Messages published.", out.messages);
  add("corvalux_fleet_published_bytes_total", "counter", "Their bytes, without headers.", out.bytes);
  addEach(
      "corvalux_fleet_unpublished_total", "Messages that were not published.",
      {{"overtaken", out.overtaken}, {"disconnected", out.disconnected}, {"old", out.old}, {"large", out.tooLarge}});
  const ReceivedCounts& in = fleet.received;
  add("corvalux_fleet_received_total", "counter", "Messages of devices that counted.", in.messages);
  addEach("corvalux_fleet_ignored_total", "Messages that were dropped.",
          {{"bad", in.bad},
           {"late", in.late},
           {"repeated", in.repeated},
           {"limit", in.tooMany},
           {"overrun", fleet.overrun}});
  add("corvalux_fleet_switches_total", "counter", "Changes of the gateway that speaks for a device.", in.switches);
  add("corvalux_fleet_pictures_total", "counter", "Pictures of devices, answered and taken.", fleet.pictures);
}

}  // namespace

std::string metricsOf(const Devices& devices, const ClientCounts& counts, Clock::time_point now,
                      std::size_t bytesLimit) {
  MetricsText text;
  addStates(devices, text);
  addStreams(devices, text, now);
  addClients(counts, text);
  if (counts.fleet) addFleet(*counts.fleet, text);
  addLevels(devices, text, now);
  text.Head("corvalux_value", "gauge", "The newest value of a key.");
  addValues(devices, text, false, bytesLimit);
  text.Head("corvalux_text", "gauge", "The newest text of a key.");
  addValues(devices, text, true, bytesLimit);
  return text.Take();
}

}  // namespace corvalux::gateway
