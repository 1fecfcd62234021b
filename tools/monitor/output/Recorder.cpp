#include "monitor/output/Recorder.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace corvalux::monitor {

Recorder::Recorder(const std::string& path, const std::string& address, Ending& ending)
    : start(std::chrono::steady_clock::now()),
      ending(ending),
      writer(path, {std::chrono::system_clock::now(), address}) {}

bool Recorder::Finish() {
  const std::lock_guard lock(mutex);
  Try([this] { writer.Flush(); });
  return !failed;
}

void Recorder::Take(client::Message message) {
  const std::lock_guard lock(mutex);
  const auto time = std::max(message.arrival.steady - start, std::chrono::steady_clock::duration(0));
  Try([&] { writer.Write({message.stream, time, std::move(message.bytes)}); });
}

/// Reports the first failure.
template <typename Action>
void Recorder::Try(const Action& action) {
  if (failed) return;
  try {
    action();
  } catch (const std::runtime_error& error) {
    failed = true;
    std::fprintf(stderr, "corvalux-monitor: %s\n", error.what());
    ending.Set(ExitCode::outputFailed);
  }
}

}  // namespace corvalux::monitor
