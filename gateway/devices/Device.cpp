#include "gateway/devices/Device.h"

#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

namespace corvalux::gateway {

namespace {

using client::ConnectionState;
using client::Stream;

constexpr std::array meterStreams = {Stream::fast, Stream::slow};

client::FeedSettings feedSettings(const DeviceAddress& where, const DeviceSettings& settings) {
  client::FeedSettings feed{where.address, {client::allStreams.begin(), client::allStreams.end()}};
  feed.keepalive = settings.keepalive;
  // Of a message beyond the limit only this message is lost, not the connection; unless it is far beyond it.
  feed.messageBytes = 2 * settings.limits.frameBytes;
  return feed;
}

std::string secondsText(Device::Clock::duration time) {
  std::array<char, 32> text;
  std::snprintf(text.data(), text.size(), "%.2g s", std::chrono::duration<double>(time).count());
  return text.data();
}

}  // namespace

const char* nameOf(DeviceState state) {
  return std::array{"connecting", "live", "stale", "lost"}.at(static_cast<std::size_t>(state));
}

void Device::Pulse::Beat(Clock::time_point now) {
  if (newest) {
    const auto interval = now - *newest;
    period = period ? *period + (interval - *period) / 8 : interval;
  }
  newest = now;
}

/// Three periods, so that one late message is no silence.
Device::Clock::duration Device::Pulse::Patience() const {
  return std::max<Clock::duration>(leastSilence, 3 * period.value_or(Clock::duration::zero()));
}

Device::Device(DeviceAddress address, const DeviceSettings& settings, DeviceCalls callbacks, bool given)
    : where(std::move(address)),
      calls(std::move(callbacks)),
      picture(settings.limits),
      levels(settings.levels, settings.levelWindow),
      peaks(Patterns({"**/peak"})),
      clips(Patterns({"**/clips"})),
      own{std::make_shared<Inbox>(settings.limits, calls.wake), {}, {}},
      fleet{std::make_shared<Inbox>(settings.limits, calls.wake), {}, {}},
      present(given ? &own : &fleet) {
  if (given) feed.emplace(feedSettings(where, settings), *own.inbox);
}

Device::~Device() {
  Notify([](Watcher& watcher) { watcher.OnGone(); });
}

void Device::Collect(Clock::time_point now) {
  Collect(own, now);
  Collect(fleet, now);
}

/// What comes from the source that is not the present one does not count.
void Device::Collect(Source& source, Clock::time_point now) {
  Arrivals arrivals = source.inbox->Collect();
  for (const ConnectionState& connection : arrivals.states) Take(source, connection, now);
  if (&source != present) return;
  overtaken += arrivals.overtaken;
  tooLarge += arrivals.tooLarge;
  tooMany += arrivals.tooMany;
  for (const Stream stream : client::allStreams) {
    for (client::Message& message : arrivals.messages.at(indexOf(stream))) Take(std::move(message));
  }
}

void Device::Take(Source& source, const ConnectionState& connection, Clock::time_point now) {
  switch (connection.phase) {
    case ConnectionState::Phase::connecting:
      if (&source == present) Interrupt();
      return;
    case ConnectionState::Phase::connected: source.connected = now; break;
    default:
      source.connected.reset();
      source.reason = (connection.hadConnection ? "connection lost: " : "cannot be reached: ") + connection.reason;
  }
  Choose(source);
}

/// Its own connection comes first.
void Device::Choose(const Source& changed) {
  Source& next = !feed || (!own.connected && fleet.connected) ? fleet : own;
  if (&next == present && &next != &changed) return;
  if (std::exchange(present, &next) != &next) Interrupt();
  if (next.connected) {
    Enter(DeviceState::connecting, "connected, waiting for meters");
  } else {
    Enter(DeviceState::lost, next.reason);
  }
}

void Device::Interrupt() {
  for (auto& each : statistics) each.Interrupt();
  for (auto& each : pulses) each.newest.reset();
}

void Device::Take(client::Message message) {
  statistics.at(indexOf(message.stream)).Take(message);
  if (!message.valid) return;
  const Stream stream = message.stream;
  const auto arrived = message.arrival.steady;
  if (present == &own) ownHeard = arrived;
  picture.Take(std::move(message));
  if (stream != Stream::changes) {
    pulses.at(indexOf(stream)).Beat(arrived);
    levels.Take(*picture.Newest(stream));
    if (present->connected && !Silence(arrived)) Enter(DeviceState::live, "");
  }
  Notify([stream](Watcher& watcher) { watcher.OnMessage(stream); });
}

void Device::Fill(Stream stream, std::vector<AgedEntry> entries, const Newer& newer) {
  if (stream != Stream::changes) {
    if (picture.Newest(stream) || entries.empty()) return;
    client::Message message{stream, entries.front().arrival, {}, true, {}, 0};
    for (AgedEntry& each : entries) message.entries.push_back(std::move(each.entry));
    picture.Take(std::move(message));
  } else {
    const auto than = ownHeard ? std::max(newer.than, *ownHeard) : newer.than;
    const bool any = picture.Fill(std::move(entries), [&](const AgedEntry& each, const Change* known) {
      if (!known) return true;
      return !own.connected && each.arrival.steady > than && known->sequence <= newer.sequence;
    });
    if (!any) return;
  }
  Notify([stream](Watcher& watcher) { watcher.OnMessage(stream); });
}

void Device::SetAddress(const std::string& address) {
  if (feed || where.address == address) return;
  where.address = address;
  Notify([](Watcher& watcher) { watcher.OnState(); });
}

/// Nothing while the meters come as they used to. A picture of which a part stands still must not look alive.
std::optional<std::string> Device::Silence(Clock::time_point now) const {
  bool any = false;
  for (const Stream stream : meterStreams) {
    const Pulse& pulse = pulses.at(indexOf(stream));
    if (!pulse.newest) continue;
    any = true;
    if (now - *pulse.newest <= pulse.Patience()) continue;
    return std::string("no ") + client::nameOf(stream) + " meters for more than " + secondsText(pulse.Patience());
  }
  if (any || now - *present->connected <= leastSilence) return std::nullopt;
  return "connected, but no meters have come";
}

void Device::CheckSilence(Clock::time_point now) {
  if (!present->connected || state == DeviceState::stale) return;
  if (const auto silence = Silence(now)) Enter(DeviceState::stale, *silence);
}

void Device::Enter(DeviceState next, const std::string& why) {
  if (state == next && reason == why) return;
  if (state != next) since = std::chrono::system_clock::now();
  state = next;
  reason = why;
  calls.entered(*this);
  Notify([](Watcher& watcher) { watcher.OnState(); });
}

Exceeded Device::Over() const {
  Exceeded over = picture.Over();
  over.frames += tooLarge;
  over.keys += tooMany;
  return over;
}

std::optional<Device::Clock::duration> Device::Age(Clock::time_point now) const {
  std::optional<Clock::duration> least;
  for (const auto& each : statistics) {
    const auto age = each.Age(now);
    if (age && (!least || *age < *least)) least = age;
  }
  return least;
}

/// A watcher may leave while it is called, and take others along.
template <typename Call>
void Device::Notify(const Call& call) {
  const std::vector<Watcher*> now(watchers.begin(), watchers.end());
  for (Watcher* watcher : now) {
    if (watchers.contains(watcher)) call(*watcher);
  }
}

}  // namespace corvalux::gateway
