#include "monitor/Watch.h"

#include <algorithm>
#include <array>

namespace corvalux::monitor {

Watch::Watch(const Options& options, const program::StopSignals& signals, Ending& ending, const Relay& relay)
    : signals(signals), ending(ending), relay(relay) {
  if (!options.seconds) return;
  deadline =
      Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(*options.seconds));
}

std::optional<ExitCode> Watch::Wait(pollfd extra, std::optional<std::chrono::milliseconds> longest) {
  std::array<pollfd, 3> files = {{{signals.File(), POLLIN, 0}, {ending.File(), POLLIN, 0}, extra}};
  poll(files.data(), files.size(), Timeout(longest));
  if (files[0].revents != 0) ending.Set(ExitCode::endedByYou);
  if ((files[2].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) ending.Set(ExitCode::endedByYou);
  if (deadline && Clock::now() >= *deadline) {
    ending.Set(relay.EverConnected() ? ExitCode::endedByYou : ExitCode::neverConnected);
  }
  return ending.Get();
}

ExitCode Watch::WaitForEnd(pollfd extra) {
  while (true) {
    if (const auto code = Wait(extra, std::nullopt)) return *code;
  }
}

int Watch::Timeout(std::optional<std::chrono::milliseconds> longest) const {
  using std::chrono::milliseconds;
  if (!deadline) return longest ? static_cast<int>(longest->count()) : -1;
  const auto left = std::chrono::ceil<milliseconds>(*deadline - Clock::now());
  const auto limit = longest.value_or(milliseconds(60'000));
  return static_cast<int>(std::clamp(left, milliseconds(0), limit).count());
}

}  // namespace corvalux::monitor
