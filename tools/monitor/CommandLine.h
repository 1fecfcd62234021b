#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "client/Stream.h"
#include "monitor/ExitCode.h"

namespace corvalux::monitor {

/// The parsed command line.
struct Options {
  std::string address = "localhost:50005";
  std::vector<client::Stream> streams;  ///< each at most once, at least one
  bool json = false;                    ///< requested; it is also the default without a terminal
  std::optional<uint64_t> count;
  std::optional<double> seconds;
  bool reconnect = true;
  bool table = false;
  bool check = false;
  std::string record;  ///< a file; empty for none
};

/// Parses the command line. If there is nothing to run, prints the help, the version or an error and returns the exit
/// code.
std::variant<Options, ExitCode> parse(int argc, const char* const* argv);

}  // namespace corvalux::monitor
