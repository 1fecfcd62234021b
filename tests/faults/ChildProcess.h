#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace test {

/// A child process with its output on a pipe. Killed at the end, if it still runs.
/// Threads: use on one thread.
class ChildProcess {
 public:
  explicit ChildProcess(const std::vector<std::string>& command);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void Signal(int signal) const;

  /// The next line of its output; nothing when none comes within `limit`, or when its output has ended.
  std::optional<std::string> ReadLine(std::chrono::milliseconds limit);

 private:
  bool ReadMore(std::chrono::milliseconds limit);

  pid_t pid = -1;
  int output = -1;
  std::string unread;
};

/// Starts `fault` of client.py against `address`, and waits until it is at work.
class FaultyClient : public ChildProcess {
 public:
  FaultyClient(const std::string& fault, const std::string& address, double seconds);
};

}  // namespace test
