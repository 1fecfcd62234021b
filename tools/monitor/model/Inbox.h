#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

#include "client/Listener.h"
#include "client/StreamStatistics.h"

namespace corvalux::monitor {

/// What has arrived since the last Collect.
struct News {
  std::optional<client::Message> fast;   ///< only the newest
  std::optional<client::Message> slow;   ///< only the newest
  std::vector<client::Message> changes;  ///< all of them
  client::ConnectionState state;
  std::chrono::steady_clock::time_point stateSince;
  std::array<client::StreamStatistics, client::allStreams.size()> statistics;
};

/// The queue between the feed and the screen: keeps only the newest message of meters, but all changes, up to a limit.
/// Threads: Take and Change as Listener; Collect on the screen's thread.
class Inbox : public client::Listener {
 public:
  static constexpr std::size_t changesLimit = 4096;

  void Take(client::Message message) override;
  void Change(const client::ConnectionState& state) override;

  News Collect();
  /// State and statistics only; the messages stay for the next Collect.
  News Peek();

 private:
  News PeekLocked() const;

  std::mutex mutex;
  std::array<std::optional<client::Message>, 2> meters;                        // guarded by mutex
  std::deque<client::Message> changes;                                         // guarded by mutex
  client::ConnectionState connection;                                          // guarded by mutex
  std::chrono::steady_clock::time_point connectionSince;                       // guarded by mutex
  std::array<client::StreamStatistics, client::allStreams.size()> statistics;  // guarded by mutex
};

}  // namespace corvalux::monitor
