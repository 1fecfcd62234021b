#include "fanout/client/ServerProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fanout/Sockets.h"

namespace bench {

namespace {

/// In the child: only calls that are safe between fork and exec.
[[noreturn]] void become(char* const* arguments, const std::map<int, int>& descriptors, const char* log) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int output = open(*log != '\0' ? log : "/dev/null", O_WRONLY | O_CREAT | O_APPEND, 0644);
  dup2(output, STDOUT_FILENO);
  if (*log != '\0') dup2(output, STDERR_FILENO);
  // In two steps: one of our descriptors may have a number that the child needs for another.
  constexpr int outOfTheWay = 100;
  for (const auto& [theirs, ours] : descriptors) dup2(ours, outOfTheWay + theirs);
  for (const auto& [theirs, ours] : descriptors) dup2(outOfTheWay + theirs, theirs);
  execvp(arguments[0], arguments);
  _exit(127);
}

}  // namespace

ServerProcess::ServerProcess(const std::vector<std::string>& arguments, const std::map<int, int>& descriptors,
                             const std::string& log) {
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);
  pid = fork();
  if (pid < 0) throwErrno("fork");
  if (pid == 0) become(pointers.data(), descriptors, log.c_str());
}

ServerProcess::~ServerProcess() {
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
}

int64_t ServerProcess::CpuNs() const {
  clockid_t clock{};
  timespec time{};
  if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &time) != 0) throwErrno("clock_gettime");
  return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

std::size_t ServerProcess::ResidentBytes() const {
  std::ifstream file("/proc/" + std::to_string(pid) + "/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  file >> total >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

std::size_t ServerProcess::Threads() const {
  const std::filesystem::directory_iterator threads("/proc/" + std::to_string(pid) + "/task");
  return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

}  // namespace bench
