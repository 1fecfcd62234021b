#include "gateway/fleet/Receiver.h"

#include <algorithm>

#include "client/Decode.h"

namespace corvalux::gateway {

namespace {

using client::ConnectionState;
using client::Stream;
using Seconds = OriginClock::Seconds;

/// When it came from the device.
client::Arrival arrivalOf(Seconds age) {
  const auto ago = std::chrono::duration_cast<std::chrono::microseconds>(age);
  return {std::chrono::system_clock::now() - ago, std::chrono::steady_clock::now() - ago};
}

}  // namespace

void Receiver::Take(const Incoming& incoming, Time now) {
  const auto subject = subjectIn(incoming.subject);
  if (!subject) return CountBad();
  if (subject->topic == Topic::picture) return TakeRequest(*subject, incoming);
  const auto headers = headersOf(incoming.headers);
  if (!headers) return CountBad();
  if (subject->topic == Topic::state) return TakeReport(*subject, *headers, incoming, now);
  TakeMessage(*subject, *headers, incoming, now);
}

void Receiver::CountBad() {
  const std::lock_guard lock(mutex);
  ++counts.bad;
}

/// Nothing if it is too late, or one origin too many.
std::optional<Seconds> Receiver::LatenessOf(const Headers& headers, Time now) {
  if (clocks.size() >= mostOrigins && !clocks.contains(headers.origin)) {
    std::erase_if(clocks, [now](const auto& each) { return now - each.second.Heard() > OriginClock::window; });
    if (clocks.size() >= mostOrigins) {
      ++counts.tooMany;
      return std::nullopt;
    }
  }
  const Seconds lateness = clocks[headers.origin].Lateness(headers.clock, now);
  if (lateness <= mostLateness) return lateness;
  ++counts.late;
  return std::nullopt;
}

/// A device that is not known becomes known, as far as the limit allows.
Receiver::Remote* Receiver::Find(const std::string& device, Time now) {
  auto found = remotes.find(device);
  if (found == remotes.end()) {
    const auto others =
        std::count_if(remotes.begin(), remotes.end(), [](const auto& each) { return !each.second.given; });
    if (static_cast<std::size_t>(others) >= mostDevices) {
      ++counts.tooMany;
      return nullptr;
    }
    found = remotes.try_emplace(device).first;
  }
  found->second.heard = now;
  return &found->second;
}

Origins::Answer Receiver::Hear(Remote& remote, const Origin& origin, Time now) {
  const bool first = !remote.origins.Heard();
  const auto answer = remote.origins.Hear(origin, now);
  remote.gone = false;
  if (answer == Origins::Answer::ignored) return answer;
  if (answer == Origins::Answer::changed) {
    remote.sequences.fill(0);
    remote.via = origin.name;
    ++remote.pictures;
    counts.switches += first ? 0 : 1;
  }
  if (std::exchange(remote.up, true)) return answer;
  ++remote.pictures;
  remote.everUp = true;
  if (remote.listener) remote.listener->Change({ConnectionState::Phase::connected, "", {}, true, true});
  return answer;
}

/// Changes that are missing are in the picture.
bool Receiver::IsNew(Remote& remote, Stream stream, uint64_t sequence) {
  uint64_t& newest = remote.sequences.at(indexOf(stream));
  if (sequence <= newest) {
    ++counts.repeated;
    return false;
  }
  if (stream == Stream::changes && newest > 0 && sequence > newest + 1) ++remote.pictures;
  newest = sequence;
  return true;
}

void Receiver::TakeMessage(const Subject& subject, const Headers& headers, const Incoming& incoming, Time now) {
  std::shared_ptr<client::Listener> listener;
  Seconds age(headers.age);
  const Stream stream = *streamOf(subject.topic);
  {
    const std::lock_guard lock(mutex);
    const auto lateness = LatenessOf(headers, now);
    Remote* remote = lateness ? Find(subject.device, now) : nullptr;
    if (!remote || Hear(*remote, headers.origin, now) == Origins::Answer::ignored) return;
    if (!IsNew(*remote, stream, headers.sequence)) return;
    ++counts.messages;
    age += *lateness;
    if (remote->takes) listener = remote->listener;
  }
  if (listener) listener->Take(client::messageOf(stream, arrivalOf(age), std::string(incoming.payload)));
}

void Receiver::TakeReport(const Subject& subject, const Headers& headers, const Incoming& incoming, Time now) {
  const auto report = reportOf(incoming.payload);
  if (!report) return CountBad();
  const std::lock_guard lock(mutex);
  if (!LatenessOf(headers, now)) return;
  if (report->gone && !remotes.contains(subject.device)) return;
  if (Remote* remote = Find(subject.device, now)) Read(*remote, headers, *report, now);
}

void Receiver::Read(Remote& remote, const Headers& headers, const Report& report, Time now) {
  if (remote.reporters.size() < Origins::most || remote.reporters.contains(headers.origin)) {
    remote.reporters[headers.origin] = now;
  }
  if (report.gone) remote.reporters.erase(headers.origin);
  if (!report.speaks) {
    remote.origins.Release(headers.origin, now);
    remote.gone = remote.gone || report.gone;
    if (remote.up) return;
    remote.via = headers.origin.name;
    const std::string reason = report.reason.empty() ? noSpeaker : headers.origin.name + ": " + report.reason;
    if (std::exchange(remote.reason, reason) != reason) Down(remote);
    return;
  }
  if (Hear(remote, headers.origin, now) == Origins::Answer::ignored) return;
  uint64_t& changes = remote.sequences.at(indexOf(Stream::changes));
  if (report.changes <= changes) return;
  if (changes > 0) ++remote.pictures;
  changes = report.changes;
}

void Receiver::Down(Remote& remote) {
  remote.up = false;
  if (!remote.listener) return;
  remote.listener->Change({ConnectionState::Phase::waiting, remote.reason, {}, remote.everUp, remote.everUp});
}

void Receiver::TakeRequest(const Subject& subject, const Incoming& incoming) {
  const std::lock_guard lock(mutex);
  if (incoming.reply.empty() || requests.size() >= mostRequests) {
    ++counts.bad;
  } else {
    requests.push_back({subject.device, std::string(incoming.reply)});
  }
}

void Receiver::TakePart(const std::string& device, uint64_t request, const Incoming& incoming, Time now) {
  const auto headers = headersOf(incoming.headers);
  if (!headers) return CountBad();
  std::optional<Seconds> lateness;
  {
    const std::lock_guard lock(mutex);
    lateness = LatenessOf(*headers, now);
    const auto found = remotes.find(device);
    if (!lateness || found == remotes.end() || found->second.origins.Followed() != headers->origin) return;
  }
  auto values = partOf(incoming.payload, std::chrono::steady_clock::now(), *lateness);
  if (!values) return CountBad();
  const std::lock_guard lock(mutex);
  if (bytesOfParts + incoming.payload.size() > mostPartBytes) return;
  bytesOfParts += incoming.payload.size();
  parts.push_back({device, request, headers->part, std::move(*values)});
}

void Receiver::Attach(const std::string& device, std::shared_ptr<client::Listener> listener, bool given) {
  const std::lock_guard lock(mutex);
  Remote& remote = remotes[device];
  remote.listener = std::move(listener);
  remote.given = given;
  ++remote.pictures;
  if (remote.up) {
    remote.listener->Change({ConnectionState::Phase::connected, "", {}, true, true});
  } else {
    Down(remote);
  }
}

std::vector<std::string> Receiver::Strangers() const {
  const std::lock_guard lock(mutex);
  std::vector<std::string> names;
  for (const auto& [name, remote] : remotes) {
    if (!remote.listener) names.push_back(name);
  }
  return names;
}

void Receiver::Forget(const std::string& device) {
  const std::lock_guard lock(mutex);
  remotes.erase(device);
}

bool Receiver::IsOver(const Remote& remote, Time now) {
  if (remote.up) return false;
  if (now - remote.heard > keptFor) return true;
  const auto follows = [now](const auto& each) { return now - each.second <= reportedWithin; };
  return remote.gone && std::none_of(remote.reporters.begin(), remote.reporters.end(), follows);
}

Receiver::View Receiver::Look(const std::string& device, Time now, Milliseconds patience, bool takes) {
  const std::lock_guard lock(mutex);
  const auto found = remotes.find(device);
  if (found == remotes.end()) return {};
  Remote& remote = found->second;
  if (remote.up && remote.origins.Silent(now, lostAfter)) {
    remote.reason = noSpeaker;
    Down(remote);
  }
  if (takes && !std::exchange(remote.takes, takes)) ++remote.pictures;
  remote.takes = takes;
  const Origins& origins = remote.origins;
  return {origins.Followed(),  origins.Heard(), origins.Released(), origins.First(now, patience),
          origins.NewerThan(), remote.pictures, remote.via,         IsOver(remote, now)};
}

std::vector<Receiver::Request> Receiver::Requests() {
  const std::lock_guard lock(mutex);
  return std::exchange(requests, {});
}

std::vector<Receiver::Part> Receiver::Parts() {
  const std::lock_guard lock(mutex);
  bytesOfParts = 0;
  return std::exchange(parts, {});
}

ReceivedCounts Receiver::Counts() const {
  const std::lock_guard lock(mutex);
  return counts;
}

}  // namespace corvalux::gateway
