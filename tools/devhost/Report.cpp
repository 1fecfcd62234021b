#include "devhost/Report.h"

#include <cstdio>

#include "sim/Misuse.h"

namespace corvalux::devhost {

void complain(const std::string& sentence) { std::fprintf(stderr, "corvalux-devhost: %s\n", sentence.c_str()); }

void announce(const Options& options, const std::string& line) {
  if (options.quiet) return;
  std::printf("%s\n", line.c_str());
  std::fflush(stdout);
}

std::size_t complainAboutMisuse(const sim::Engine& engine) {
  auto reports = sim::takeMisuse();
  if (engine.Registrations() > 0) reports.emplace_back("callback still registered after stop");
  for (const std::string& report : reports) complain("misuse of the host's interface: " + report);
  return reports.size();
}

}  // namespace corvalux::devhost
