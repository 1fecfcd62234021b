#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace test {

/// A child process whose output is collected. The destructor kills it if it still runs.
/// Spawned, never forked: the gRPC library does not survive a fork.
/// Threads: use on one thread.
class Process {
 public:
  /// `command` is the program's path, or a name to be found in PATH, and its arguments. Throws std::system_error when
  /// it cannot be run.
  explicit Process(std::vector<std::string> command);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// Sends the signal, if it still runs; SIGSTOP has taken effect when this returns.
  void Signal(int signal) const;

  bool Running() const;

  /// Wait until the output contains `text`; false when it does not in time, or when the program ends without it.
  bool WaitForOutput(const std::string& text) { return WaitFor(output, text); }
  bool WaitForErrors(const std::string& text) { return WaitFor(errors, text); }

  /// The next line of the output; nothing when none comes within `limit`, or when the output has ended.
  std::optional<std::string> ReadLine(std::chrono::milliseconds limit);

  /// Waits for the exit code; nothing when the program does not end in time or is killed by a signal.
  std::optional<int> Wait();

  bool HasPrinted(const std::string& text) const { return Output().find(text) != std::string::npos; }
  std::string Output() const { return Text(output); }
  std::string Errors() const { return Text(errors); }

 private:
  struct Stream {
    std::string text;  // guarded by mutex
    bool open = true;  // guarded by mutex
    std::thread reader;
  };

  void Read(Stream& stream, int file);
  bool WaitFor(Stream& stream, const std::string& text);
  std::string Text(const Stream& stream) const;

  mutable std::mutex mutex;
  std::condition_variable changed;
  Stream output;
  Stream errors;
  std::size_t linesRead = 0;  ///< where the next line of the output begins
  pid_t pid = 0;              ///< 0 once it has been waited for
};

}  // namespace test
