#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

#include "client/Listener.h"

namespace corvalux::monitor {

/// Reports on stderr the feed's state, rejected messages and repaired texts: the first at once, then their number at
/// most once a second. Threads: as Listener.
class Notes : public client::Listener {
 public:
  explicit Notes(std::string address) : address(std::move(address)) {}

  void Take(client::Message message) override;
  void Change(const client::ConnectionState& state) override;

 private:
  /// How often something happened on a stream, and when it was last reported.
  struct Count {
    uint64_t number = 0;
    std::chrono::steady_clock::time_point reported;

    /// True when it is time to report it.
    bool Add(uint64_t more, std::chrono::steady_clock::time_point now);
  };

  const std::string address;
  std::mutex mutex;
  std::array<Count, client::allStreams.size()> rejected;  // guarded by mutex; messages
  std::array<Count, client::allStreams.size()> repaired;  // guarded by mutex; texts
};

}  // namespace corvalux::monitor
