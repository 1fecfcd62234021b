#include "devhost/StopSignals.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace devhost {

StopSignals::StopSignals() {
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);  // a reader of our output that leaves must not end the engine
}

void StopSignals::Raise() { kill(getpid(), SIGTERM); }

bool StopSignals::WaitUntil(std::optional<std::chrono::steady_clock::time_point> deadline) const {
  using std::chrono::duration_cast;
  using std::chrono::nanoseconds;
  while (true) {
    if (!deadline) {
      if (sigwaitinfo(&signals, nullptr) > 0) return true;
      continue;
    }
    const auto left =
        std::max(nanoseconds(0), duration_cast<nanoseconds>(*deadline - std::chrono::steady_clock::now()));
    const timespec timeout{left.count() / 1'000'000'000, left.count() % 1'000'000'000};
    if (sigtimedwait(&signals, nullptr, &timeout) > 0) return true;
    if (errno == EAGAIN) return false;
  }
}

}  // namespace devhost
