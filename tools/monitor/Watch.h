#pragma once

#include <poll.h>

#include <chrono>
#include <optional>

#include "monitor/CommandLine.h"
#include "monitor/Ending.h"
#include "monitor/Relay.h"
#include "program/StopSignals.h"

namespace corvalux::monitor {

/// What can end the program besides its feed and its outputs: signals, the time limit, and the output's reader.
/// Threads: the main thread.
class Watch {
 public:
  using Clock = std::chrono::steady_clock;

  /// All must outlive this. The time limit of `options` begins now.
  Watch(const Options& options, const program::StopSignals& signals, Ending& ending, const Relay& relay);

  /// Waits for the end, for the events of `extra`, or for `longest`, whichever comes first. An error or a hang-up of
  /// `extra` ends the program.
  std::optional<ExitCode> Wait(pollfd extra, std::optional<std::chrono::milliseconds> longest);
  /// Waits for the end.
  ExitCode WaitForEnd(pollfd extra);

 private:
  int Timeout(std::optional<std::chrono::milliseconds> longest) const;

  const program::StopSignals& signals;
  Ending& ending;
  const Relay& relay;
  std::optional<Clock::time_point> deadline;
};

}  // namespace corvalux::monitor
