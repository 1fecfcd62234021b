#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "monitor/stream/Stream.h"
#include "monitor/values/Value.h"

namespace monitor {

/// When something arrived: for people, and for measuring.
struct Arrival {
  std::chrono::system_clock::time_point wall;
  std::chrono::steady_clock::time_point steady;
};

struct Message {
  Stream stream = Stream::fast;
  Arrival arrival;
  std::string bytes;  ///< as they came
  bool valid = true;  ///< false: rejected by the parser, as it does with a text that is not UTF-8; then no entries
  std::vector<Entry> entries;
};

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
  bool hadConnection = false;          ///< this attempt did connect, so it is not that the server cannot be reached
  bool everConnected = false;
};

/// Whom a feed tells.
/// Threads: Take on a thread of each stream, so up to three at once, messages of one stream in order; Change on the
/// feed's own thread, and may overlap Take.
class Listener {
 public:
  virtual ~Listener() = default;

  /// May block: then nothing more of this stream is read, and the server skips what is too old.
  virtual void Take(Message message) = 0;
  virtual void Change(const ConnectionState& state) = 0;
};

}  // namespace monitor
