#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace test {

/// A program that runs as a child, with its output collected. Killed at the end if it still runs.
class Process {
 public:
  /// `command` is the program's path and its arguments. Throws std::system_error when it cannot be run.
  explicit Process(std::vector<std::string> command);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  void Signal(int signal) const;

  /// Wait until the output contains `text`; false when it does not in time, or when the program ends without it.
  bool WaitForOutput(const std::string& text) { return WaitFor(output, text); }
  bool WaitForErrors(const std::string& text) { return WaitFor(errors, text); }

  /// Waits for the end and gives the exit code; nothing when the program does not end in time or is killed by a signal.
  std::optional<int> Wait();

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
  pid_t pid = 0;  ///< 0 once it has been waited for
};

}  // namespace test
