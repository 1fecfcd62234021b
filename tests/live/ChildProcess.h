#pragma once

#include <sys/types.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace test {

/// Another program, started on its own; killed at the end if it still runs. What it prints is collected.
/// Spawned, never forked: the gRPC library does not survive a fork.
/// Threads: use on one thread.
class ChildProcess {
 public:
  /// `command`: the program's path and its arguments. Throws std::system_error when it cannot be started.
  explicit ChildProcess(std::vector<std::string> command);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// What it has printed so far, its complaints included.
  std::string Output() const;
  bool HasPrinted(const std::string& text) const { return Output().find(text) != std::string::npos; }

  /// Sends the signal; SIGSTOP has taken effect, and SIGKILL has ended the process, when this returns.
  void Signal(int signal);

  /// Waits until it ends; its exit code, or -1 when a signal ended it. May be called again.
  int ExitCode();

 private:
  void Collect(int pipe);

  pid_t pid = 0;  // 0 once it has ended
  int exitCode = -1;
  mutable std::mutex mutex;
  std::string output;  // guarded by mutex
  std::thread collector;
};

}  // namespace test
