#include "gateway/devices/Picture.h"

#include <algorithm>
#include <utility>

#include "client/Decode.h"

namespace corvalux::gateway {

namespace {

using client::Entry;
using client::Stream;

bool haveTheSameKeys(const std::vector<Entry>& some, const std::vector<Entry>& others) {
  return std::equal(some.begin(), some.end(), others.begin(), others.end(),
                    [](const Entry& one, const Entry& other) { return one.key == other.key; });
}

std::size_t bytesOf(const Entry& entry) {
  const auto bytes = [](const auto& value) -> std::size_t {
    if constexpr (requires { value.size(); }) return value.size() * sizeof value[0];
    return sizeof value;
  };
  return entry.key.size() + std::visit(bytes, entry.value);
}

}  // namespace

std::optional<std::vector<std::string_view>> serialisedEntries(const client::Message& message) {
  auto entries = message.repairedTexts == 0 ? client::entriesIn(message.bytes) : std::nullopt;
  return entries && entries->size() == message.entries.size() ? std::move(entries) : std::nullopt;
}

void Picture::Take(client::Message message) {
  DropLongKeys(message.entries);
  message.stream == Stream::changes ? TakeChanges(std::move(message)) : TakeFrame(std::move(message));
}

uint64_t Picture::Sequence(Stream stream) const {
  if (stream == Stream::changes) return changed;
  const auto frame = Newest(stream);
  return frame ? frame->sequence : 0;
}

void Picture::DropLongKeys(std::vector<Entry>& entries) {
  exceeded.longKeys +=
      std::erase_if(entries, [this](const Entry& entry) { return entry.key.size() > limits.keyBytes; });
}

std::size_t Picture::Keys(Stream meters) const {
  const auto& frame = frames.at(indexOf(meters));
  return frame ? frame->message.entries.size() : 0;
}

void Picture::TakeFrame(client::Message message) {
  const Stream other = message.stream == Stream::fast ? Stream::slow : Stream::fast;
  const std::size_t taken = std::min(Keys(other) + changes.size(), limits.keys);
  auto& entries = message.entries;
  if (entries.size() > limits.keys - taken) {
    exceeded.keys += entries.size() - (limits.keys - taken);
    entries.resize(limits.keys - taken);
  }
  auto& newest = frames.at(indexOf(message.stream));
  auto frame = std::make_shared<Frame>();
  frame->sequence = newest ? newest->sequence + 1 : 1;
  frame->layout = newest ? newest->layout + (haveTheSameKeys(newest->message.entries, entries) ? 0 : 1) : 1;
  frame->message = std::move(message);
  newest = std::move(frame);
}

bool Picture::HasRoom(const Entry& entry, const Change* known) const {
  const std::size_t freed = known ? bytesOf(known->entry) : 0;
  if (changedBytes - freed + bytesOf(entry) > limits.frameBytes) return false;
  return known || Keys(Stream::fast) + Keys(Stream::slow) + changes.size() < limits.keys;
}

void Picture::TakeChanges(client::Message message) {
  ++changed;
  bool all = serialisedEntries(message).has_value();
  for (Entry& entry : message.entries) all = TakeChange(std::move(entry), message.arrival) && all;
  newestChanges = all ? std::make_shared<const std::string>(std::move(message.bytes)) : nullptr;
}

bool Picture::Fill(std::vector<AgedEntry> entries,
                   const std::function<bool(const AgedEntry&, const Change* known)>& wanted) {
  std::erase_if(entries, [&](const AgedEntry& each) {
    const auto known = places.find(each.entry.key);
    return each.entry.key.size() > limits.keyBytes || !wanted(each, known == places.end() ? nullptr : &*known->second);
  });
  if (entries.empty()) return false;
  ++changed;
  for (AgedEntry& each : entries) TakeChange(std::move(each.entry), each.arrival);
  newestChanges = nullptr;
  return true;
}

/// Whether there was room for it.
bool Picture::TakeChange(Entry entry, const client::Arrival& arrival) {
  const auto known = places.find(entry.key);
  const auto change = known == places.end() ? changes.end() : known->second;
  const bool room = HasRoom(entry, change == changes.end() ? nullptr : &*change);
  changedBytes += room ? bytesOf(entry) : 0;
  changedBytes -= change == changes.end() ? 0 : bytesOf(change->entry);
  if (!room) {
    ++exceeded.keys;
    if (change == changes.end()) return false;
    places.erase(known);  // its former value would be wrong
    changes.erase(change);
  } else if (change == changes.end()) {
    changes.push_front({std::move(entry), changed, arrival});
    places.emplace(changes.front().entry.key, changes.begin());
  } else {
    change->entry.value = std::move(entry.value);
    change->arrival = arrival;
    change->sequence = changed;
    changes.splice(changes.begin(), changes, change);
  }
  return room;
}

}  // namespace corvalux::gateway
