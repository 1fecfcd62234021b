#include "program/StopSignals.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace program {

StopSignals::StopSignals(std::initializer_list<int> more) {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
  for (const int signal : more) sigaddset(&signals, signal);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  file = signalfd(-1, &signals, SFD_CLOEXEC);
  if (file < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
}

StopSignals::~StopSignals() { close(file); }

void StopSignals::Raise() { kill(getpid(), SIGTERM); }

bool StopSignals::WaitUntil(std::optional<std::chrono::steady_clock::time_point> deadline) const {
  using std::chrono::nanoseconds;
  while (true) {
    timespec left{};
    if (deadline) {
      const auto time = std::max(nanoseconds(0), nanoseconds(*deadline - std::chrono::steady_clock::now()));
      left = {time.count() / 1'000'000'000, time.count() % 1'000'000'000};
    }
    pollfd signals{file, POLLIN, 0};
    const int ready = ppoll(&signals, 1, deadline ? &left : nullptr, nullptr);
    if (ready > 0) return true;
    if (ready == 0) return false;
  }
}

}  // namespace program
