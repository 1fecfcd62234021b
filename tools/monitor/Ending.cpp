#include "monitor/Ending.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace corvalux::monitor {

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

}  // namespace corvalux::monitor
