#include "live/ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace test {

namespace {

/// Starts the program with both its outputs on `pipe`; returns an error number.
int spawn(pid_t* pid, std::vector<std::string>& command, int pipe) {
  std::vector<char*> arguments;
  for (std::string& argument : command) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipe, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, pipe, STDERR_FILENO);
  const int error = posix_spawn(pid, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> command) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
  const int error = spawn(&pid, command, ends[1]);
  close(ends[1]);
  if (error != 0) {
    close(ends[0]);
    throw std::system_error(error, std::generic_category(), command[0]);
  }
  collector = std::thread([this, end = ends[0]] { Collect(end); });
}

ChildProcess::~ChildProcess() {
  if (pid != 0) Signal(SIGKILL);
  collector.join();
}

void ChildProcess::Collect(int pipe) {
  std::array<char, 4096> buffer;
  for (ssize_t size = 0; (size = read(pipe, buffer.data(), buffer.size())) > 0;) {
    const std::lock_guard lock(mutex);
    output.append(buffer.data(), static_cast<std::size_t>(size));
  }
  close(pipe);
}

std::string ChildProcess::Output() const {
  const std::lock_guard lock(mutex);
  return output;
}

void ChildProcess::Signal(int signal) {
  if (pid == 0) return;
  kill(pid, signal);
  if (signal == SIGSTOP) waitpid(pid, nullptr, WUNTRACED);
  if (signal == SIGKILL) ExitCode();
}

int ChildProcess::ExitCode() {
  if (pid == 0) return exitCode;
  int state = 0;
  waitpid(pid, &state, 0);
  pid = 0;
  exitCode = WIFEXITED(state) ? WEXITSTATUS(state) : -1;
  return exitCode;
}

}  // namespace test
