#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "client/Stream.h"
#include "monitor/ExitCode.h"

namespace corvalux::monitor {

/// What the command line asks for.
struct Options {
  std::string address = "localhost:50005";
  std::vector<client::Stream> streams;  ///< each at most once, at least one
  bool json = false;                    ///< asked for; it is also what is written to anything but a terminal
  std::optional<uint64_t> count;
  std::optional<double> seconds;
  bool reconnect = true;
  bool table = false;
  bool check = false;
  std::string record;  ///< a file; empty for none
};

/// Reads the command line. Prints help, version or what is wrong with it, and gives the exit code, when there is
/// nothing to run.
std::variant<Options, ExitCode> parse(int argc, const char* const* argv);

}  // namespace corvalux::monitor
