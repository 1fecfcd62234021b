#pragma once

#include <chrono>
#include <initializer_list>
#include <optional>

namespace program {

/// Turns SIGINT, SIGTERM and SIGHUP into something to wait for or to poll. Create it before any thread: later threads
/// inherit the blocked signals. A signal stays pending while nobody waits. Writing to a closed pipe is an error code,
/// not a signal.
class StopSignals {
 public:
  /// `more`: further signals that stop the program.
  explicit StopSignals(std::initializer_list<int> more = {});
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /// Has the effect of SIGTERM. Thread-safe.
  static void Raise();

  /// Readable once a signal is pending.
  int File() const { return file; }

  /// Waits for one of the signals, or until `deadline`; true for a signal. Without a deadline it waits indefinitely.
  bool WaitUntil(std::optional<std::chrono::steady_clock::time_point> deadline) const;

 private:
  int file;
};

}  // namespace program
