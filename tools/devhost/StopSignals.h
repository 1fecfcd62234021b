#pragma once

#include <chrono>
#include <csignal>
#include <optional>

namespace devhost {

/// Turns Ctrl-C, a request to terminate and the loss of the terminal into something to wait for, instead of sudden
/// death. Make it before any thread: those made later inherit the blocked signals. A signal while nobody waits is kept.
class StopSignals {
 public:
  StopSignals();

  /// Does what a request to terminate does. Thread-safe.
  static void Raise();

  /// Waits for one of the signals, or until `deadline`; true for a signal. Without a deadline, for as long as it takes.
  bool WaitUntil(std::optional<std::chrono::steady_clock::time_point> deadline) const;

 private:
  sigset_t signals{};
};

}  // namespace devhost
