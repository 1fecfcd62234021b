#include "monitor/model/Inbox.h"

#include <iterator>
#include <utility>

namespace corvalux::monitor {

void Inbox::Take(client::Message message) {
  const std::lock_guard lock(mutex);
  statistics.at(indexOf(message.stream)).Take(message);
  if (!message.valid) return;
  if (message.stream != client::Stream::changes) {
    meters.at(indexOf(message.stream)) = std::move(message);
    return;
  }
  changes.push_back(std::move(message));
  if (changes.size() > changesLimit) changes.pop_front();
}

void Inbox::Change(const client::ConnectionState& state) {
  const std::lock_guard lock(mutex);
  connection = state;
  connectionSince = std::chrono::steady_clock::now();
  if (state.phase == client::ConnectionState::Phase::connecting) {
    for (client::StreamStatistics& each : statistics) each.Interrupt();
  }
}

News Inbox::Collect() {
  const std::lock_guard lock(mutex);
  News news = PeekLocked();
  news.fast = std::exchange(meters[0], std::nullopt);
  news.slow = std::exchange(meters[1], std::nullopt);
  std::move(changes.begin(), changes.end(), std::back_inserter(news.changes));
  changes.clear();
  return news;
}

News Inbox::Peek() {
  const std::lock_guard lock(mutex);
  return PeekLocked();
}

News Inbox::PeekLocked() const { return {std::nullopt, std::nullopt, {}, connection, connectionSince, statistics}; }

}  // namespace corvalux::monitor
