#pragma once

#include <chrono>
#include <cstddef>

namespace corvalux::gateway {

/// What the gateway takes from viewers.
struct LiveLimits {
  std::size_t viewers = 1'000;           ///< in all
  std::size_t messageBytes = 16'384;     ///< of a message
  double messagesPerSecond = 50;         ///< of a viewer, with bursts of twice as many
  std::size_t subscriptions = 32;        ///< of a viewer
  std::size_t patterns = 16;             ///< of a subscription, of keys and of peaks each
  double rate = 100;                     ///< updates a second that can be asked for
  std::size_t unsentBytes = 64UL << 20;  ///< of updates that slow viewers have begun to take, of all together
  std::chrono::seconds helloTime{5};     ///< for the first message
  std::chrono::seconds patience{20};     ///< for a pong, an acknowledgement, and a write
};

}  // namespace corvalux::gateway
