#include "gateway/api/Selection.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "client/Json.h"

namespace corvalux::gateway {

namespace {

/// Of an event that is kept for those who come later: there may be as many selections as readers.
constexpr std::size_t keptBytes = 32 << 10;

using Entries = std::vector<const client::Entry*>;

Octets eventOf(client::Stream stream, const client::Arrival& arrival, const Entries& entries) {
  return std::make_shared<const std::string>("data: " + client::jsonOf(stream, arrival.wall, entries) + "\n\n");
}

}  // namespace

Octets Selection::Made::Keep(Octets made) {
  event = made;
  kept = made->size() <= keptBytes ? made : nullptr;
  return made;
}

Octets Selection::EventOf(const Frame& frame) {
  const client::Message& message = frame.message;
  Made& made = meters.at(indexOf(message.stream));
  auto known = made.sequence == frame.sequence ? made.event.lock() : nullptr;
  if (known) return known;
  Entries entries;
  for (const std::size_t place : choice.In(frame)) entries.push_back(&message.entries[place]);
  made.sequence = frame.sequence;
  return made.Keep(eventOf(message.stream, message.arrival, entries));
}

Octets Selection::EventOf(const Picture& picture, uint64_t after) {
  const uint64_t newest = picture.Sequence(client::Stream::changes);
  if (changes.sequence == newest && changes.after == after) {
    auto known = changes.event.lock();
    if (known || changes.none) return known;
  }
  changes = {newest, after, false, {}, nullptr};
  Entries entries;
  client::Arrival arrival;
  for (const Change& change : picture.Changes()) {
    if (change.sequence <= after) break;
    if (!choice.Keys().Match(change.entry.key)) continue;
    if (entries.empty()) arrival = change.arrival;
    entries.push_back(&change.entry);
  }
  changes.none = entries.empty();
  if (changes.none) return nullptr;
  std::reverse(entries.begin(), entries.end());
  return changes.Keep(eventOf(client::Stream::changes, arrival, entries));
}

}  // namespace corvalux::gateway
