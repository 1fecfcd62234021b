#include "viewers/Gateway.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "fanout/Sockets.h"
#include "fanout/client/Brokers.h"

namespace bench {

namespace {

using namespace std::chrono_literals;

bool hasDesk(uint16_t port) {
  const int connection = connectTo(port);
  sendAll(connection, "GET /api/devices/desk/values HTTP/1.1\r\nHost: localhost\r\n\r\n");
  std::array<char, 64> answer{};
  const ssize_t size = recv(connection, answer.data(), answer.size(), 0);
  close(connection);
  return std::string_view(answer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)))
      .starts_with("HTTP/1.1 200");
}

}  // namespace

std::unique_ptr<ServerProcess> startGateway(uint16_t port, std::vector<std::string> arguments,
                                            const std::filesystem::path& folder) {
  arguments.insert(arguments.begin(), CORVALUX_BENCH_GATEWAY);
  arguments.insert(arguments.end(),
                   {"--listen", "127.0.0.1:" + std::to_string(port), "--max-clients", "4096",
                    "--max-clients-per-address", "4096", "--max-viewers", "4096", "--max-requests", "100000"});
  return startListening("gateway", arguments, port, folder);
}

void awaitDesk(uint16_t port) {
  const auto deadline = std::chrono::steady_clock::now() + 20s;
  while (!hasDesk(port)) {
    if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error("a gateway does not know the device");
    std::this_thread::sleep_for(20ms);
  }
}

}  // namespace bench
