#include "gateway/fleet/Fleet.h"

#include <charconv>
#include <random>
#include <utility>

namespace corvalux::gateway {

namespace {

constexpr std::chrono::milliseconds tickInterval{50};
/// Others wait longer before they claim.
constexpr std::chrono::seconds longestBreak{1};
constexpr std::chrono::milliseconds longestFarewell{300};
constexpr double pictureBytesPerSecond = 8e6;

uint64_t randomNumber() {
  std::random_device random;
  return uint64_t{random()} << 32 | random();
}

std::string inboxOf(uint64_t start) { return "_INBOX.corvalux-" + std::to_string(start); }

}  // namespace

Fleet::Fleet(boost::asio::io_context& loop, Devices& devices, const FleetSettings& settings, const Connect& connect,
             Say say)
    : devices(devices),
      say(std::move(say)),
      receiver(settings.devices),
      inbox(inboxOf(randomNumber())),
      bus(connect(inbox, [this](const Incoming& incoming) { Take(incoming); })),
      publisher(*bus, {randomNumber(), settings.name}),
      parts{publisher.Self(),
            inbox,
            *bus,
            publisher,
            receiver,
            std::mt19937_64(randomNumber()),
            {},
            FleetClock::now(),
            Allowance(pictureBytesPerSecond, 2 * pictureBytesPerSecond)},
      timer(loop) {
  TickLater();
}

Fleet::~Fleet() = default;

/// An answer's subject ends with the device and the request's number.
void Fleet::Take(const Incoming& incoming) {
  if (!incoming.subject.starts_with(inbox)) return receiver.Take(incoming);
  std::string_view rest = incoming.subject.substr(inbox.size() + 1);
  const auto dot = rest.find('.');
  if (dot == std::string_view::npos) return;
  uint64_t request = 0;
  const std::string_view number = rest.substr(dot + 1);
  std::from_chars(number.data(), number.data() + number.size(), request);
  receiver.TakePart(std::string(rest.substr(0, dot)), request, incoming);
}

void Fleet::TickLater() {
  timer.expires_after(tickInterval);
  // To cancel the timer does not take back what is due already.
  timer.async_wait([this, exists = std::weak_ptr(token)](const boost::system::error_code& error) {
    if (error || exists.expired()) return;
    Tick();
    TickLater();
  });
}

void Fleet::Tick() {
  const Time now = FleetClock::now();
  if (parts.Stood(now)) parts.listens.reset();
  parts.looked = now;
  WatchConnection(now);
  MeetDevices();
  Serve(now);
  for (const auto& [name, member] : members) member->Tick(now);
  SayWhatIsTooLarge();
}

/// After a short break nobody else has claimed what this gateway speaks for.
void Fleet::WatchConnection(Time now) {
  const bool is = bus->Connected();
  const std::string reason = is ? "" : bus->Reason();
  if (is && !connected) say("fleet", "in the fleet as " + parts.self.name);
  if (!reason.empty() && (connected || reason != why)) say("fleet", "not in the fleet: " + reason);
  connected = is;
  why = reason;
  if (is) {
    lost.reset();
    if (!parts.listens) parts.listens = now;
  } else if (!lost) {
    lost = now;
  } else if (now - *lost > longestBreak) {
    parts.listens.reset();
  }
}

/// Devices that came, and those that went.
void Fleet::MeetDevices() {
  for (auto each = members.begin(); each != members.end();) {
    const bool gone = each->second->Gone();
    if (!gone && (!each->second->IsOver() || devices.Find(each->first)->Given())) {
      ++each;
      continue;
    }
    receiver.Forget(each->first);
    const std::string name = each->first;
    each = members.erase(each);
    if (!gone) devices.Leave(name);
  }
  for (const std::string& name : receiver.Strangers()) devices.Join({name, "via another gateway"});
  for (const auto& [name, device] : devices.All()) {
    auto& member = members[name];
    if (!member || !member->IsOf(device)) member = std::make_unique<Member>(device, parts);
  }
}

void Fleet::Serve(Time now) {
  for (const auto& request : receiver.Requests()) {
    const auto found = members.find(request.device);
    if (found != members.end()) found->second->Answer(request.reply, now);
  }
  for (auto& part : receiver.Parts()) {
    const auto found = members.find(part.device);
    if (found != members.end()) found->second->Take(std::move(part));
  }
}

void Fleet::SayWhatIsTooLarge() {
  for (const std::string& subject : publisher.TooLarge()) {
    say("large " + subject, "a message is too large for the NATS server: " + subject);
  }
}

FleetCounts Fleet::Counts() const {
  FleetCounts counts;
  counts.connected = bus->Connected();
  counts.overrun = bus->Overrun();
  counts.pictures = parts.pictures;
  counts.published = publisher.Counts();
  counts.received = receiver.Counts();
  for (const auto& [name, member] : members) counts.speaking += member->Speaks() ? 1 : 0;
  for (const auto& [name, device] : devices.All()) counts.remote += device->Given() ? 0 : 1;
  return counts;
}

void Fleet::Close() {
  timer.cancel();
  for (const auto& [name, member] : members) member->Leave();
  members.clear();
  publisher.Drain(longestFarewell);
}

}  // namespace corvalux::gateway
