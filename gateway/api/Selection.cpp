#include "gateway/api/Selection.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "client/Json.h"

namespace corvalux::gateway {

namespace {

using Entries = std::vector<const client::Entry*>;

Octets eventOf(client::Stream stream, const client::Arrival& arrival, const Entries& entries) {
  return std::make_shared<const std::string>("data: " + client::jsonOf(stream, arrival.wall, entries) + "\n\n");
}

}  // namespace

Octets Selection::EventOf(const Frame& frame) {
  const client::Message& message = frame.message;
  Made& made = meters.at(indexOf(message.stream));
  if (made.sequence == frame.sequence) return made.event;
  Entries entries;
  for (const std::size_t place : choice.In(frame)) entries.push_back(&message.entries[place]);
  made = {frame.sequence, 0, eventOf(message.stream, message.arrival, entries)};
  return made.event;
}

Octets Selection::EventOf(const Picture& picture, uint64_t after) {
  const uint64_t newest = picture.Sequence(client::Stream::changes);
  if (changes.sequence == newest && changes.after == after) return changes.event;
  changes = {newest, after, nullptr};
  Entries entries;
  client::Arrival arrival;
  for (const Change& change : picture.Changes()) {
    if (change.sequence <= after) break;
    if (!choice.Keys().Match(change.entry.key)) continue;
    if (entries.empty()) arrival = change.arrival;
    entries.push_back(&change.entry);
  }
  if (entries.empty()) return nullptr;
  std::reverse(entries.begin(), entries.end());
  changes.event = eventOf(client::Stream::changes, arrival, entries);
  return changes.event;
}

}  // namespace corvalux::gateway
