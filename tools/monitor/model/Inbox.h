#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

#include "monitor/model/Statistics.h"
#include "monitor/stream/Listener.h"

namespace monitor {

/// What has arrived since the last look.
struct News {
  std::optional<Message> fast;   ///< only the newest
  std::optional<Message> slow;   ///< only the newest
  std::vector<Message> changes;  ///< all of them
  ConnectionState state;
  std::chrono::steady_clock::time_point stateSince;
  std::array<Statistics, allStreams.size()> statistics;
};

/// Between the feed and the screen: of meters only the newest message waits, of changes all do, up to a limit.
/// Threads: Take and Change as Listener; Collect on the screen's thread.
class Inbox : public Listener {
 public:
  static constexpr std::size_t changesLimit = 4096;

  void Take(Message message) override;
  void Change(const ConnectionState& state) override;

  News Collect();
  /// State and statistics only; the messages stay for the next Collect.
  News Peek();

 private:
  News PeekLocked() const;

  std::mutex mutex;
  std::array<std::optional<Message>, 2> meters;           // guarded by mutex
  std::deque<Message> changes;                            // guarded by mutex
  ConnectionState connection;                             // guarded by mutex
  std::chrono::steady_clock::time_point connectionSince;  // guarded by mutex
  std::array<Statistics, allStreams.size()> statistics;   // guarded by mutex
};

}  // namespace monitor
