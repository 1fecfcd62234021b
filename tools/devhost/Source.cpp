#include "devhost/Source.h"

#include <array>
#include <cstdio>

#include "program/StopSignals.h"

namespace corvalux::devhost {

Source::Source(const Options& options) : options(options) {
  if (!options.replay.file.empty()) tape.emplace(options.replay.file, options.replay.loop);
}

void Source::Start(sim::Engine& engine) {
  if (tape) {
    replay.emplace(engine, *tape, options.replay.pace, program::StopSignals::Raise);
  } else {
    player.emplace(engine, options.mixer, options.misbehaviours);
  }
}

void Source::Stop() {
  replay.reset();
  player.reset();
}

std::string Source::Description() const {
  if (!tape) return "";
  std::array<char, 32> pace;
  std::snprintf(pace.data(), pace.size(), "%g", options.replay.pace);
  return "replays " + options.replay.file + " at " + pace.data() +
         (options.replay.loop ? " times its pace, in a loop" : " times its pace");
}

std::string Source::Failure() const { return tape ? tape->Failure() : ""; }

}  // namespace corvalux::devhost
