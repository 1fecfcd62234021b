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

/// The program's exit codes.
enum class ExitCode { success = 0, notLoaded = 1, usage = 2, notStarted = 3, misuse = 4, notReplayed = 5 };

/// A recording to play instead of the scene.
struct ReplayOptions {
  std::string file;  ///< empty: none
  double pace = 1;   ///< above 0
  bool loop = false;
};

/// The parsed command line.
struct Options {
  std::filesystem::path module;
  sim::KeyValues config;
  scene::MixerSettings mixer;  ///< a cadence of 0: no lists
  std::vector<Misbehaviour> misbehaviours;
  ReplayOptions replay;
  std::optional<double> seconds;  ///< above 0; none: until a signal, or until the replay ends
  int logLevel = 1;               ///< the lowest level that is shown
  bool quiet = false;
  bool stats = false;  ///< a line of figures every second
};

/// Parses the command line. If there is nothing to run, prints the help, the version or an error and returns the exit
/// code.
std::variant<Options, ExitCode> parse(int argc, const char* const* argv);

}  // namespace corvalux::devhost
