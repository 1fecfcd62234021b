#include "support/Process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include "support/Deadline.h"

namespace test {

namespace {

std::array<int, 2> makePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
  return ends;
}

pid_t spawn(std::vector<std::string>& command, int output, int errors) {
  std::vector<char*> arguments;
  for (std::string& argument : command) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
  pid_t pid = 0;
  const int error = posix_spawnp(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(output);
  close(errors);
  if (error != 0) throw std::system_error(error, std::generic_category(), command[0]);
  return pid;
}

}  // namespace

Process::Process(std::vector<std::string> command) {
  const auto outputPipe = makePipe();
  const auto errorPipe = makePipe();
  pid = spawn(command, outputPipe[1], errorPipe[1]);
  output.reader = std::thread([this, file = outputPipe[0]] { Read(output, file); });
  errors.reader = std::thread([this, file = errorPipe[0]] { Read(errors, file); });
}

Process::~Process() {
  if (pid != 0) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }
  output.reader.join();
  errors.reader.join();
}

void Process::Signal(int signal) const {
  if (pid == 0) return;
  kill(pid, signal);
  // One that has died meanwhile is left for Wait.
  siginfo_t state{};
  if (signal == SIGSTOP) waitid(P_PID, static_cast<id_t>(pid), &state, WSTOPPED | WEXITED | WNOWAIT);
}

bool Process::Running() const {
  siginfo_t state{};
  return pid != 0 && waitid(P_PID, static_cast<id_t>(pid), &state, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         state.si_pid == 0;
}

void Process::Read(Stream& stream, int file) {
  std::array<char, 4096> bytes;
  for (ssize_t count = 1; count > 0;) {
    count = read(file, bytes.data(), bytes.size());
    const std::lock_guard lock(mutex);
    if (count > 0) stream.text.append(bytes.data(), static_cast<std::size_t>(count));
    stream.open = count > 0;
    changed.notify_all();
  }
  close(file);
}

bool Process::WaitFor(Stream& stream, const std::string& text) {
  std::unique_lock lock(mutex);
  const auto found = [&] { return stream.text.find(text) != std::string::npos; };
  changed.wait_for(lock, patience, [&] { return found() || !stream.open; });
  return found();
}

std::optional<std::string> Process::ReadLine(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex);
  auto end = std::string::npos;
  changed.wait_for(lock, limit, [&] {
    end = output.text.find('\n', linesRead);
    return end != std::string::npos || !output.open;
  });
  if (end == std::string::npos) return std::nullopt;
  std::string line = output.text.substr(linesRead, end - linesRead);
  linesRead = end + 1;
  return line;
}

std::optional<int> Process::Wait() {
  {
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, patience, [this] { return !output.open && !errors.open; })) return std::nullopt;
  }
  if (pid == 0) return std::nullopt;
  int status = 0;
  const bool known = waitpid(pid, &status, 0) == pid;
  pid = 0;
  return known && WIFEXITED(status) ? std::optional(WEXITSTATUS(status)) : std::nullopt;
}

std::string Process::Text(const Stream& stream) const {
  const std::lock_guard lock(mutex);
  return stream.text;
}

}  // namespace test
