#pragma once

#include <chrono>
#include <initializer_list>
#include <optional>

namespace program {

/// Turns Ctrl-C, a request to terminate and the loss of the terminal into something to wait for or to poll. Make it
/// before any thread: those made later inherit the blocked signals. A signal while nobody waits is kept. Writing to a
/// closed pipe is an error code, not a signal.
class StopSignals {
 public:
  /// `more`: further signals that stop the program.
  explicit StopSignals(std::initializer_list<int> more = {});
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /// Does what a request to terminate does. Thread-safe.
  static void Raise();

  /// Readable once a signal has come.
  int File() const { return file; }

  /// Waits for one of the signals, or until `deadline`; true for a signal. Without a deadline, for as long as it takes.
  bool WaitUntil(std::optional<std::chrono::steady_clock::time_point> deadline) const;

 private:
  int file;
};

}  // namespace program
