// The gateway: a client of many devices that serves what they send over HTTP.
#include <cstdio>
#include <exception>

#include "gateway/Gateway.h"
#include "gateway/settings/CommandLine.h"

int main(int argc, char** argv) {
  namespace gateway = corvalux::gateway;
  try {
    const auto read = [argc, argv] { return gateway::readSettings(argc, argv); };
    const auto settings = read();
    if (!settings) return 0;
    if (settings->checkOnly) {
      std::puts("corvalux-gateway: the options are right");
      return 0;
    }
    gateway::Gateway(*settings, read).Run();
    return 0;
  } catch (const gateway::UsageError& error) {
    std::fprintf(stderr, "corvalux-gateway: %s (see --help)\n", error.what());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "corvalux-gateway: %s\n", error.what());
    return 1;
  }
}
