#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

#include "monitor/stream/Listener.h"

namespace monitor {

/// What the state means, as a sentence about the address.
std::string sentenceOf(const ConnectionState& state, const std::string& address);

/// Says on stderr what the feed is doing, and which messages were rejected: the first at once, then their number at
/// most once a second.
/// Threads: as Listener.
class Notes : public Listener {
 public:
  explicit Notes(std::string address) : address(std::move(address)) {}

  void Take(Message message) override;
  void Change(const ConnectionState& state) override;

 private:
  struct Rejections {
    uint64_t count = 0;
    std::chrono::steady_clock::time_point reported;
  };

  const std::string address;
  std::mutex mutex;
  std::array<Rejections, allStreams.size()> rejections;  // guarded by mutex
};

}  // namespace monitor
