#include "monitor/model/Board.h"

#include <utility>

#include "client/Key.h"

namespace corvalux::monitor {

void Board::Take(News arrived, std::chrono::steady_clock::time_point now) {
  latest = std::move(arrived);
  if (latest.fast) fast.Take(latest.fast->entries, now);
  if (latest.slow) {
    slow.Take(latest.slow->entries, now);
    for (const client::Entry& entry : latest.slow->entries) Learn(entry.key, client::describe(entry.value));
  }
  for (const client::Message& message : latest.changes) Log(message);
}

void Board::ResetHolds() {
  fast.ResetHolds();
  slow.ResetHolds();
}

/// The slow meters may bring a new value before its change does, so the value that it replaced is kept until the next
/// one.
void Board::Learn(const std::string& key, const std::string& value) {
  Known& entry = known[key];
  if (entry.value != value) entry = {value, std::move(entry.value)};
}

void Board::Log(const client::Message& message) {
  for (const client::Entry& entry : message.entries) {
    if (client::lastPart(entry.key) == "counter") continue;
    const std::string after = client::describe(entry.value);
    Learn(entry.key, after);
    changes.push_front({message.arrival.wall, entry.key, known[entry.key].before, after});
  }
  if (changes.size() > changesLimit) changes.resize(changesLimit);
}

std::string Board::LabelOf(const std::string& prefix) const {
  const auto name = known.find(prefix + "/name");
  return name == known.end() || name->second.value.empty() ? prefix : name->second.value;
}

}  // namespace corvalux::monitor
