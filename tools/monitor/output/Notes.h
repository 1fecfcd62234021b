#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

#include "client/Listener.h"

namespace corvalux::monitor {

/// Says on stderr what the feed is doing, which messages were rejected, and which texts were repaired: the first at
/// once, then their number at most once a second. Threads: as Listener.
class Notes : public client::Listener {
 public:
  explicit Notes(std::string address) : address(std::move(address)) {}

  void Take(client::Message message) override;
  void Change(const client::ConnectionState& state) override;

 private:
  /// How often something happened on a stream.
  struct Count {
    uint64_t number = 0;
    std::chrono::steady_clock::time_point reported;

    /// True when it is time to say so.
    bool Add(uint64_t more, std::chrono::steady_clock::time_point now);
  };

  const std::string address;
  std::mutex mutex;
  std::array<Count, client::allStreams.size()> rejected;  // guarded by mutex; messages
  std::array<Count, client::allStreams.size()> repaired;  // guarded by mutex; texts
};

}  // namespace corvalux::monitor
