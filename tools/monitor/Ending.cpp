#include "monitor/Ending.h"

#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <system_error>

namespace monitor {

Ending::Ending() : file(eventfd(0, EFD_CLOEXEC)) {
  if (file < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

Ending::~Ending() { close(file); }

void Ending::Set(ExitCode cause) {
  int expected = none;
  if (!code.compare_exchange_strong(expected, static_cast<int>(cause))) return;
  const uint64_t one = 1;
  [[maybe_unused]] const auto written = write(file, &one, sizeof one);
}

std::optional<ExitCode> Ending::Get() const {
  const int value = code;
  return value == none ? std::nullopt : std::optional(static_cast<ExitCode>(value));
}

Signals::Signals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaddset(&signals, signal);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  file = signalfd(-1, &signals, SFD_CLOEXEC);
  if (file < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
}

Signals::~Signals() { close(file); }

}  // namespace monitor
