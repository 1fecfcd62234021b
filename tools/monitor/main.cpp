// The monitor: a client that shows and writes what a corvalux engine streams.
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <variant>

#include "monitor/CommandLine.h"
#include "monitor/Ending.h"
#include "monitor/Run.h"

namespace corvalux::monitor {

namespace {

auto runnerOf(const Options& options) {
  if (options.check) return runCheck;
  if (options.table) return runTable;
  return isatty(STDOUT_FILENO) == 1 && !options.json ? runScreen : runJson;
}

}  // namespace

}  // namespace corvalux::monitor

int main(int argc, char** argv) {
  namespace monitor = corvalux::monitor;
  using monitor::ExitCode;
  try {
    const auto parsed = monitor::parse(argc, argv);
    if (const auto* code = std::get_if<ExitCode>(&parsed)) return static_cast<int>(*code);
    const auto& options = std::get<monitor::Options>(parsed);
    const program::StopSignals signals({SIGQUIT});
    return static_cast<int>(monitor::runnerOf(options)(options, signals));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "corvalux-monitor: %s\n", error.what());
    return static_cast<int>(ExitCode::outputFailed);
  }
}
