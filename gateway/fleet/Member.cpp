#include "gateway/fleet/Member.h"

#include <algorithm>
#include <utility>

#include "client/Encode.h"
#include "client/Json.h"

namespace corvalux::gateway {

namespace {

using client::Stream;
using std::chrono::milliseconds;

constexpr milliseconds reportInterval{500};
constexpr std::chrono::seconds silentReportInterval{5};
constexpr milliseconds askInterval{1'000};
constexpr int64_t askJitter = 500;  ///< ms
constexpr double answersPerSecond = 4;
constexpr std::size_t mostEntries = 200'000;  ///< of a picture that is being fetched
constexpr std::string_view inboxes = "_INBOX.";

milliseconds randomTime(milliseconds most, std::mt19937_64& random) {
  return milliseconds(std::uniform_int_distribution<int64_t>(0, most.count())(random));
}

Device::Clock::time_point steadyOf(FleetClock::time_point time, FleetClock::time_point now) {
  return Device::Clock::now() - std::chrono::duration_cast<Device::Clock::duration>(now - time);
}

Outgoing outgoing(std::shared_ptr<const std::string> payload,
                  std::optional<Device::Clock::time_point> arrival = std::nullopt) {
  Outgoing message;
  message.payload = std::move(payload);
  message.arrival = arrival;
  return message;
}

}  // namespace

Member::Member(const std::shared_ptr<Device>& device, FleetParts& parts)
    : device(device.get()),
      name(device->Where().name),
      given(device->Given()),
      parts(parts),
      election(parts.self, randomTime(Election::mostJitter, parts.random)),
      answers(answersPerSecond, answersPerSecond) {
  device->Add(*this);
  parts.receiver.Attach(name, device->FromFleet(), given);
}

Member::~Member() {
  if (device) device->Remove(*this);
}

void Member::Tick(Time now) {
  if (!device) return;
  const auto view = parts.receiver.Look(name, now, election.Patience(), !device->Connected());
  over = view.over;
  if (!view.via.empty()) device->SetAddress("via " + view.via);
  if (given) Elect(view, now);
  if (given && now >= stateDue) Say(now);
  Ask(view, now);
}

void Member::Elect(const Receiver::View& view, Time now) {
  const bool spoke = Speaks();
  if (!spoke && view.heard && view.heard != std::exchange(heard, view.heard)) Heard(*view.heard, now);
  election.Decide({device->Connected(), parts.listens, view.released, view.first}, now);
  if (Speaks() != spoke) stateDue = {};
  if (Speaks() && !spoke) Begin();
  if (Speaks() && parts.bus.Connected()) PutChanges();
}

/// Others have what came until then.
void Member::Heard(Time when, Time now) {
  heardSteady = steadyOf(when, now);
  for (const Change& change : device->Values().Changes()) {
    if (change.arrival.steady > heardSteady) continue;
    progress->upTo = std::max(progress->upTo.load(), change.sequence);
    return;
  }
}

/// What is newer than all that others can have shown need not wait for the next message.
void Member::Begin() {
  for (const Stream stream : {Stream::fast, Stream::slow}) {
    const auto frame = device->Values().Newest(stream);
    const auto since = std::max(heardSteady, Device::Clock::now() - Publisher::longestWait);
    if (frame && frame->message.arrival.steady > since) PutMeters(stream);
  }
}

void Member::OnMessage(Stream stream) {
  if (!Speaks() || !device->Connected() || parts.Stood(FleetClock::now())) return;
  stream == Stream::changes ? PutChanges() : PutMeters(stream);
}

void Member::OnGone() {
  Leave();
  device = nullptr;
}

void Member::PutMeters(Stream stream) {
  const auto frame = device->Values().Newest(stream);
  if (frame->message.bytes.empty()) return;  // it is another gateway's
  Put(topicOf(stream), outgoing({frame, &frame->message.bytes}, frame->message.arrival.steady));
}

/// All that has changed since the message that went out last, with its newest values.
void Member::PutChanges() {
  const Picture& values = device->Values();
  const uint64_t newest = values.Sequence(Stream::changes);
  const uint64_t after = progress->upTo;
  const auto& asItCame = values.NewestChanges();
  if (newest <= after) return;
  if (newest > after + 1 || !asItCame || asItCame->size() > partBytes) return PutRemade(after);
  auto message = outgoing(asItCame, values.Changes().front().arrival.steady);
  message.progress = progress;
  message.upTo = newest;
  Put(Topic::changes, std::move(message));
}

/// In messages that the server takes, oldest first.
void Member::PutRemade(uint64_t after) {
  const auto& changes = device->Values().Changes();
  const auto known =
      std::find_if(changes.begin(), changes.end(), [after](const Change& each) { return each.sequence <= after; });
  auto octets = std::make_shared<std::string>();
  int number = 0;
  const auto put = [&](uint64_t last) {
    auto message = outgoing(std::exchange(octets, std::make_shared<std::string>()), changes.front().arrival.steady);
    message.progress = progress;
    message.upTo = last;
    Put(Topic::changes, std::move(message), number == 0 ? "" : "/" + std::to_string(number));
    ++number;
  };
  for (auto each = std::make_reverse_iterator(known); each != changes.rend(); ++each) {
    const std::string entry = client::serialised(each->entry);
    if (!octets->empty() && octets->size() + entry.size() > partBytes) put(0);
    client::appendEntry(std::string_view(entry), *octets);
  }
  const uint64_t newest = device->Values().Sequence(Stream::changes);
  if (octets->empty()) {
    progress->upTo = newest;  // nothing was left of them
  } else {
    put(newest);
  }
}

void Member::Put(Topic topic, Outgoing message, const std::string& suffix) {
  message.subject = subjectOf(name, topic);
  const std::string slot = message.subject + suffix;
  parts.publisher.Put(slot, std::move(message));
}

Report Member::ReportNow() const {
  Report report;
  const bool connected = device->Connected();
  report.state = nameOf(connected ? device->State() : DeviceState::lost);
  report.reason = connected ? device->Reason() : device->WhyNot();
  report.since = client::secondsOf(device->Since());
  report.address = device->Where().address;
  report.speaks = Speaks();
  report.changes = progress->number;
  return report;
}

void Member::Say(Time now) {
  stateDue = now + (Speaks() ? Time::duration(reportInterval) : Time::duration(silentReportInterval));
  Put(Topic::state, outgoing(std::make_shared<std::string>(jsonOf(ReportNow()))));
}

void Member::Leave() {
  if (!given || !device) return;
  Report report = ReportNow();
  report.speaks = false;
  report.gone = true;
  Put(Topic::state, outgoing(std::make_shared<std::string>(jsonOf(report))));
}

void Member::Answer(const std::string& reply, Time now) {
  // Another subject could be a device's.
  if (!device || !Speaks() || !reply.starts_with(inboxes)) return;
  if (!answers.Any(now) || !parts.pictureBytes.Any(now)) return;
  answers.Use(1);
  ++parts.pictures;
  uint32_t number = 0;
  for (std::string& octets : partsOf(device->Values(), Device::Clock::now())) {
    parts.pictureBytes.Use(static_cast<double>(octets.size()));
    auto message = outgoing(std::make_shared<std::string>(std::move(octets)));
    message.subject = reply;
    message.part = ++number;
    parts.publisher.Put(reply + "/" + std::to_string(number), std::move(message));
  }
}

void Member::Ask(const Receiver::View& view, Time now) {
  if (view.pictures == fetch.done || !view.followed || Speaks() || now < fetch.again) return;
  device->Collect(Device::Clock::now());
  if (!device) return;
  Fetch asked;
  asked.wanted = view.pictures;
  asked.done = fetch.done;
  asked.request = fetch.request + 1;
  asked.again = now + askInterval + randomTime(milliseconds(askJitter), parts.random);
  asked.newer = {steadyOf(view.newerThan, now), device->Values().Sequence(Stream::changes)};
  fetch = std::move(asked);
  Outgoing message;
  message.reply = parts.inbox + "." + name + "." + std::to_string(fetch.request);
  Put(Topic::picture, std::move(message));
}

void Member::Take(Receiver::Part part) {
  if (!device || part.request != fetch.request || part.number != fetch.next) return;
  ++fetch.next;
  fetch.count += part.values.entries.size();
  if (fetch.count > mostEntries) return;
  auto& entries = fetch.entries.at(indexOf(part.values.stream));
  std::move(part.values.entries.begin(), part.values.entries.end(), std::back_inserter(entries));
  if (!part.values.last) return;
  ++parts.pictures;
  fetch.done = fetch.wanted;
  fetch.next = 0;
  device->Collect(Device::Clock::now());
  for (const Stream stream : client::allStreams) {
    if (device) device->Fill(stream, std::move(fetch.entries.at(indexOf(stream))), fetch.newer);
  }
}

}  // namespace corvalux::gateway
