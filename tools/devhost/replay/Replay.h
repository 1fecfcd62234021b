#pragma once

#include <functional>
#include <thread>

#include "devhost/replay/Tape.h"
#include "sim/Engine.h"

namespace replay {

/// Feeds an engine with a recording for its lifetime, on a thread of its own.
/// Ownership: `engine` and `tape` must outlive it; nobody else may use the tape meanwhile.
class Replay {
 public:
  /// `pace`: speed relative to the recording; above 0. `atEnd` runs on that thread after the last list.
  Replay(sim::Engine& engine, Tape& tape, double pace, std::function<void()> atEnd);

 private:
  std::jthread thread;
};

}  // namespace replay
