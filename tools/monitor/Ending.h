#pragma once

#include <atomic>
#include <optional>

#include "monitor/ExitCode.h"

namespace monitor {

/// Why the program is to end; the first cause stands.
/// Threads: any.
class Ending {
 public:
  Ending();
  ~Ending();
  Ending(const Ending&) = delete;
  Ending& operator=(const Ending&) = delete;

  void Set(ExitCode code);
  std::optional<ExitCode> Get() const;

  /// Readable from Set on.
  int File() const { return file; }

 private:
  static constexpr int none = -1;

  std::atomic<int> code = none;
  int file;
};

/// Turns Ctrl-C, a request to terminate and the loss of the terminal into something to poll. Make it before any thread:
/// those made later inherit the blocked signals. Writing to a closed pipe is an error code, not a signal.
class Signals {
 public:
  Signals();
  ~Signals();
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  /// Readable once a signal has come.
  int File() const { return file; }

 private:
  int file;
};

}  // namespace monitor
