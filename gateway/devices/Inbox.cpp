#include "gateway/devices/Inbox.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace corvalux::gateway {

namespace {

/// Leaves the last value of each key, in the order of these.
void keepNewest(std::vector<client::Entry>& entries) {
  std::unordered_set<std::string_view> keys;
  std::vector<client::Entry> newest;
  std::for_each(entries.rbegin(), entries.rend(), [&](const client::Entry& entry) {
    if (keys.insert(entry.key).second) newest.push_back(entry);
  });
  std::reverse(newest.begin(), newest.end());
  entries = std::move(newest);
}

}  // namespace

void Inbox::Take(client::Message message) {
  const std::lock_guard lock(mutex);
  if (message.bytes.size() > limits.frameBytes) {
    ++arrivals.tooLarge;
  } else {
    // Entries can be far larger here than on the wire.
    const std::size_t excess = message.entries.size() - std::min(message.entries.size(), limits.keys);
    arrivals.tooMany += excess;
    message.entries.resize(message.entries.size() - excess);
    message.entries.shrink_to_fit();
    Queue(std::move(message));
  }
  Wake();
}

void Inbox::Change(const client::ConnectionState& state) {
  const std::lock_guard lock(mutex);
  arrivals.states.push_back(state);
  // A device that comes and goes faster than the loop looks: what it did last counts.
  if (arrivals.states.size() > depth) arrivals.states.erase(arrivals.states.begin());
  Wake();
}

Arrivals Inbox::Collect() {
  const std::lock_guard lock(mutex);
  woken = false;
  return std::exchange(arrivals, {});
}

void Inbox::Queue(client::Message message) {
  auto& queue = arrivals.messages.at(indexOf(message.stream));
  if (queue.size() < depth) return queue.push_back(std::move(message));
  if (message.stream == client::Stream::changes) return Merge(queue.back(), std::move(message));
  queue.pop_front();
  queue.push_back(std::move(message));
  ++arrivals.overtaken;
}

void Inbox::Merge(client::Message& into, client::Message message) {
  into.valid = into.valid || message.valid;
  into.arrival = message.arrival;
  into.repairedTexts += message.repairedTexts;
  into.bytes.clear();  // they are of one of both
  std::move(message.entries.begin(), message.entries.end(), std::back_inserter(into.entries));
  if (into.entries.size() <= limits.keys) return;
  keepNewest(into.entries);
  const auto excess = into.entries.size() - std::min(into.entries.size(), limits.keys);
  arrivals.tooMany += excess;
  into.entries.erase(into.entries.begin(), into.entries.begin() + static_cast<std::ptrdiff_t>(excess));
}

void Inbox::Wake() {
  if (std::exchange(woken, true)) return;
  wake();
}

}  // namespace corvalux::gateway
