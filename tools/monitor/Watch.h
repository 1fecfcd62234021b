#pragma once

#include <poll.h>

#include <chrono>
#include <optional>

#include "monitor/CommandLine.h"
#include "monitor/Ending.h"
#include "monitor/Relay.h"
#include "program/StopSignals.h"

namespace corvalux::monitor {

/// What can end the program beside its feed and its outputs: signals, the time, and a reader that leaves.
/// Threads: the main thread.
class Watch {
 public:
  using Clock = std::chrono::steady_clock;

  /// All must outlive this. The time of `options` begins now.
  Watch(const Options& options, const program::StopSignals& signals, Ending& ending, const Relay& relay);

  /// Waits for the end, for what `extra` asks for, or for `longest`, whatever comes first. An error or the other side's
  /// end of `extra` ends the program.
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
