#pragma once

#include <functional>
#include <thread>

#include "devhost/replay/Tape.h"
#include "sim/Engine.h"

namespace replay {

/// Feeds an engine with a recording while it lives, on a thread of its own.
/// Ownership: `engine` and `tape` must outlive it; the tape is its own meanwhile.
class Replay {
 public:
  /// `pace`: how many times faster than recorded; above 0. `atEnd` runs on that thread, once nothing follows any more.
  Replay(sim::Engine& engine, Tape& tape, double pace, std::function<void()> atEnd);

 private:
  std::jthread thread;
};

}  // namespace replay
