#include "faults/ChildProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <system_error>

#include "support/Deadline.h"

extern char** environ;

namespace test {

ChildProcess::ChildProcess(const std::vector<std::string>& command) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  const int error = posix_spawnp(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  output = ends[0];
  if (error != 0) throw std::system_error(error, std::generic_category(), command.front());
}

ChildProcess::~ChildProcess() {
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  close(output);
}

void ChildProcess::Signal(int signal) const { kill(pid, signal); }

bool ChildProcess::ReadMore(std::chrono::milliseconds limit) {
  pollfd descriptor{output, POLLIN, 0};
  if (poll(&descriptor, 1, static_cast<int>(limit.count())) <= 0) return false;
  char bytes[65536];
  const ssize_t count = read(output, bytes, sizeof bytes);
  if (count > 0) unread.append(bytes, static_cast<std::size_t>(count));
  return count > 0;
}

std::optional<std::string> ChildProcess::ReadLine(std::chrono::milliseconds limit) {
  auto end = unread.find('\n');
  for (; end == std::string::npos; end = unread.find('\n')) {
    if (!ReadMore(limit)) return std::nullopt;
  }
  std::string line = unread.substr(0, end);
  unread.erase(0, end + 1);
  return line;
}

FaultyClient::FaultyClient(const std::string& fault, const std::string& address, double seconds)
    : ChildProcess({"/usr/bin/python3", CORVALUX_FAULTS_CLIENT, fault, address, std::to_string(seconds)}) {
  EXPECT_EQ(ReadLine(patience).value_or("nothing"), "ready") << fault;
}

}  // namespace test
