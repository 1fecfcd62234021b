#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <vector>

#include "client/Listener.h"
#include "monitor/Ending.h"

namespace corvalux::monitor {

/// Forwards a feed's messages and states to all outputs. Ends the program after `count` valid messages, if there is a
/// count, and when the feed has ended.
/// Threads: as Listener.
class Relay : public client::Listener {
 public:
  /// All must outlive this.
  Relay(std::vector<client::Listener*> outputs, Ending& ending, std::optional<uint64_t> count);

  void Take(client::Message message) override;
  void Change(const client::ConnectionState& state) override;

  bool EverConnected() const { return everConnected; }

 private:
  const std::vector<client::Listener*> outputs;
  Ending& ending;
  const std::optional<uint64_t> count;
  std::atomic<uint64_t> admitted = 0;
  std::atomic<uint64_t> completed = 0;
  std::atomic<bool> everConnected = false;
};

}  // namespace corvalux::monitor
