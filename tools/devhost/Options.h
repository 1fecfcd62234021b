#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "devhost/Misbehaviour.h"
#include "devhost/scene/Timeline.h"
#include "sim/KeyValues.h"

namespace corvalux::devhost {

/// What the program ends with.
enum class ExitCode { success = 0, notLoaded = 1, usage = 2, notStarted = 3, misuse = 4, notReplayed = 5 };

/// A recording to play in place of the scene.
struct ReplayOptions {
  std::string file;  ///< empty: none
  double pace = 1;   ///< above 0
  bool loop = false;
};

/// What the command line asks for.
struct Options {
  std::filesystem::path module;
  sim::KeyValues config;
  scene::MixerSettings mixer;  ///< a cadence of 0: no such lists
  std::vector<Misbehaviour> misbehaviours;
  ReplayOptions replay;
  std::optional<double> seconds;  ///< above 0; none: until a signal, or until the replay ends
  int logLevel = 1;               ///< the lowest level that is shown
  bool quiet = false;
  bool stats = false;  ///< a line of figures every second
};

/// Reads the command line. Prints help, version or what is wrong with it, and gives the exit code, when there is
/// nothing to run.
std::variant<Options, ExitCode> parse(int argc, const char* const* argv);

}  // namespace corvalux::devhost
