#include "viewers/Gateway.h"

#include <string>
#include <vector>

#include "fanout/client/Brokers.h"

namespace bench {

std::unique_ptr<ServerProcess> startGateway(uint16_t port, uint16_t modulePort, const std::filesystem::path& folder) {
  const std::string address = "127.0.0.1:";
  const std::vector<std::string> command = {CORVALUX_BENCH_GATEWAY,
                                            "desk=" + address + std::to_string(modulePort),
                                            "--listen",
                                            address + std::to_string(port),
                                            "--max-clients",
                                            "4096",
                                            "--max-clients-per-address",
                                            "4096",
                                            "--max-viewers",
                                            "4096",
                                            "--max-requests",
                                            "100000"};
  return startListening("gateway", command, port, folder);
}

}  // namespace bench
