#pragma once

#include <chrono>
#include <string>

#include "client/Message.h"

namespace corvalux::client {

/// What a feed is doing.
struct ConnectionState {
  enum class Phase {
    connecting,
    connected,
    waiting,  ///< for `delay`, before the next attempt
    ended     ///< and will not try again
  };
  Phase phase = Phase::connecting;
  std::string reason;                  ///< why it is waiting or has ended
  std::chrono::milliseconds delay{0};  ///< waiting only
  bool hadConnection = false;          ///< this attempt did connect: the connection was lost
  bool everConnected = false;
};

/// Receives what a feed delivers.
/// Threads: gRPC's. Messages of one stream come in order, those of different streams may overlap. Calls of Change never
/// overlap; a connection's messages come between `connected` and the next state.
class Listener {
 public:
  virtual ~Listener() = default;

  /// May block: meanwhile the stream is not read, and the device skips old messages. But gRPC has few threads, so this
  /// delays the other streams and feeds of the process as well.
  virtual void Take(Message message) = 0;
  /// Called with the feed's lock held: must be short, and must not destroy the feed.
  virtual void Change(const ConnectionState& state) = 0;
};

}  // namespace corvalux::client
