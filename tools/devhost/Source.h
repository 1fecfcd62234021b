#pragma once

#include <optional>
#include <string>

#include "devhost/Options.h"
#include "devhost/Player.h"
#include "devhost/replay/Replay.h"
#include "devhost/replay/Tape.h"
#include "sim/Engine.h"

namespace corvalux::devhost {

/// Feeds the engine, from the scene or from a recording. At the end of the recording it asks the program to stop.
/// Threads: use on one thread; feeds on threads of its own.
class Source {
 public:
  /// Opens the recording, if `options` name one. Throws std::runtime_error with a sentence when it cannot be played.
  explicit Source(const Options& options);

  /// Feeds the engine, which must outlive this, until Stop.
  void Start(sim::Engine& engine);
  void Stop();

  /// A human-readable line about what is played; empty for the scene.
  std::string Description() const;
  /// After the end: one sentence that says why the recording ended early; empty when it did not.
  std::string Failure() const;

 private:
  const Options& options;
  std::optional<replay::Tape> tape;
  std::optional<Player> player;
  std::optional<replay::Replay> replay;
};

}  // namespace corvalux::devhost
