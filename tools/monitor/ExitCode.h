#pragma once

namespace corvalux::monitor {

/// The program's exit codes.
enum class ExitCode {
  endedByYou = 0,  ///< Ctrl-C, q, --count, --seconds, or the reader of the output left
  neverConnected = 1,
  usage = 2,
  endedByServer = 3,
  outputFailed = 4,
  silent = 5  ///< connected, but a stream delivered nothing in time: --check and --table only
};

}  // namespace corvalux::monitor
