#include "gateway/live/Subscription.h"

#include <algorithm>
#include <utility>

#include "client/Decode.h"
#include "gateway/live/Messages.h"

namespace corvalux::gateway {

namespace {

using client::Stream;

/// Of a snapshot's part, so that other messages come in between.
constexpr std::size_t partBytes = 64 << 10;

live::Stream streamOf(Stream stream) {
  static_assert(static_cast<int>(Stream::changes) + 1 == int{live::STREAM_CHANGES});
  return static_cast<live::Stream>(static_cast<int>(stream) + 1);
}

double secondsSince(Device::Clock::time_point begin, Device::Clock::time_point now) {
  return std::chrono::duration<double>(now - begin).count();
}

}  // namespace

Subscription::Subscription(Wanted given, std::shared_ptr<Excerpt> shared, std::function<void()> wakeViewer)
    : wanted(std::move(given)), excerpt(std::move(shared)), wake(std::move(wakeViewer)) {
  excerpt->Add(*this);
}

Subscription::~Subscription() { excerpt->Remove(*this); }

std::optional<Subscription::Out> Subscription::Next(const Window* window, Unsent& unsent, Clock::time_point now) {
  waits = false;
  if (Gone()) return std::nullopt;
  if (!Shown()) return NextPart(unsent, now);
  for (std::size_t i = 0; i < wanted.streams.size(); ++i) {
    const Stream stream = wanted.streams[turn++ % wanted.streams.size()];
    if (auto update = NextUpdate(stream, window, now)) return update;
  }
  return std::nullopt;
}

void Subscription::Landed(std::size_t stream, Clock::time_point now) {
  Lane& lane = lanes.at(stream);
  --lane.flying;
  if (std::exchange(lane.landed, now) != now) lane.former = std::exchange(lane.together, 0);
  ++lane.together;
}

Subscription::Present Subscription::PresentOf(Stream stream, Unsent& unsent, Clock::time_point now) {
  Present made;
  Lane& lane = lanes.at(indexOf(stream));
  lane.sent = excerpt->Of()->Values().Sequence(stream);
  lane.span = excerpt->Begin(stream);
  lane.due = now + std::chrono::duration_cast<Clock::duration>(wanted.interval);
  if (lane.sent == 0) return made;
  if (stream == Stream::changes) {
    std::tie(made.octets, made.arrivals) = excerpt->AllChanges();
  } else {
    made.octets = excerpt->EntriesOf(stream);
    made.arrivals.push_back(Arrival(stream));
  }
  made.hold = Unsent::Hold(unsent, made.octets);
  const auto entries = client::entriesIn(*made.octets);
  for (const std::string_view entry : *entries) {
    made.ends.push_back(static_cast<std::size_t>(entry.data() + entry.size() - made.octets->data()));
  }
  lane.empty = made.ends.empty();
  return made;
}

Subscription::Out Subscription::NextPart(Unsent& unsent, Clock::time_point now) {
  const Stream stream = wanted.streams[next];
  if (!present) present = PresentOf(stream, unsent, now);
  Present& of = *present;
  const std::size_t begin = of.sent == 0 ? 0 : of.ends[of.sent - 1];
  const std::size_t first = of.sent;
  while (of.sent < of.ends.size() && (of.sent == first || of.ends[of.sent] - begin <= partBytes)) ++of.sent;
  const std::size_t end = of.sent == 0 ? 0 : of.ends[of.sent - 1];
  live::Snapshot part;
  part.set_subscription(wanted.number);
  part.set_stream(streamOf(stream));
  part.set_sequence(static_cast<uint32_t>(lanes.at(indexOf(stream)).sent));
  if (!of.arrivals.empty()) part.set_age(secondsSince(of.arrivals.back(), now));
  for (std::size_t i = first; i < of.sent && stream == Stream::changes; ++i) {
    part.add_ages(static_cast<float>(secondsSince(of.arrivals[i], now)));
  }
  Out out{{}, {of.octets, begin, end - begin}, {}};
  if (of.sent == of.ends.size()) {
    ++next;
    present.reset();
  }
  part.set_last(Shown());
  appendHead(part, end - begin, out.head);
  return out;
}

std::optional<Subscription::Out> Subscription::NextUpdate(Stream stream, const Window* window, Clock::time_point now) {
  Lane& lane = lanes.at(indexOf(stream));
  const uint64_t newest = excerpt->Of()->Values().Sequence(stream);
  if (newest == lane.sent || now < lane.due) return std::nullopt;
  const Seconds period = std::max(excerpt->Period(stream), wanted.interval);
  if (window && !window->Allows(lane.flying, std::max(lane.together, lane.former), period)) {
    waits = true;
    return std::nullopt;
  }
  const Octets entries = excerpt->EntriesOf(stream, lane.span);
  live::Update update;
  update.set_merged(static_cast<uint32_t>(newest - lane.sent));
  lane.sent = newest;
  lane.span = excerpt->Begin(stream);
  // That nothing chosen is there is said once.
  const bool nothing = entries->empty() && (stream == Stream::changes || lane.empty);
  lane.empty = entries->empty();
  if (nothing) return std::nullopt;
  lane.due = now + std::chrono::duration_cast<Clock::duration>(wanted.interval);
  lane.flying += window ? 1 : 0;
  update.set_subscription(wanted.number);
  update.set_stream(streamOf(stream));
  update.set_sequence(static_cast<uint32_t>(newest));
  update.set_age(secondsSince(Arrival(stream), now));
  Out out{{}, {entries, 0, entries->size()}, indexOf(stream), update.merged()};
  appendHead(update, entries->size(), out.head);
  return out;
}

/// Of the stream's newest message, after the first.
Subscription::Clock::time_point Subscription::Arrival(Stream stream) const {
  const Picture& values = excerpt->Of()->Values();
  if (stream != Stream::changes) return values.Newest(stream)->message.arrival.steady;
  return values.Changes().empty() ? Clock::now() : values.Changes().front().arrival.steady;
}

std::optional<Subscription::Clock::time_point> Subscription::Due() const {
  std::optional<Clock::time_point> due;
  if (Gone() || !Shown()) return due;
  for (const Stream stream : wanted.streams) {
    const Lane& lane = lanes.at(indexOf(stream));
    if (lane.sent == excerpt->Of()->Values().Sequence(stream) || lane.due == Clock::time_point()) continue;
    if (!due || lane.due < *due) due = lane.due;
  }
  return due;
}

}  // namespace corvalux::gateway
