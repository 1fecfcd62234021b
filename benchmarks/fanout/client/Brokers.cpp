#include "fanout/client/Brokers.h"

#include <unistd.h>

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include "fanout/Sockets.h"

namespace bench {

namespace {

using namespace std::chrono_literals;

std::string writeConfig(const std::filesystem::path& file, const std::string& text) {
  std::ofstream(file) << text;
  return file.string();
}

std::vector<std::string> commandOf(const std::string& kind, uint16_t port, const std::filesystem::path& folder) {
  const std::string number = std::to_string(port);
  const auto file = folder / (kind + ".conf");
  if (kind == "nats-server") {
    return {"/usr/sbin/nats-server", "-c",
            writeConfig(file, "host: 127.0.0.1\nport: " + number +
                                  "\nmax_connections: 4096\nmax_pending: 512MB\nping_interval: \"1h\"\n")};
  }
  if (kind == "mosquitto") {
    return {"/usr/sbin/mosquitto", "-c",
            writeConfig(file, "listener " + number +
                                  " 127.0.0.1\nallow_anonymous true\npersistence false\nset_tcp_nodelay true\n"
                                  "max_queued_messages 0\nlog_dest none\nuser root\n")};
  }
  return {"redis-server",
          "--port",
          number,
          "--bind",
          "127.0.0.1",
          "--save",
          "",
          "--dir",
          folder.string(),
          "--maxclients",
          "4096",
          "--client-output-buffer-limit",
          "pubsub",
          "0",
          "0",
          "0",
          "--loglevel",
          "warning"};
}

}  // namespace

bool isBroker(const std::string& kind) {
  return kind == "nats-server" || kind == "mosquitto" || kind == "redis-server";
}

std::unique_ptr<ServerProcess> startListening(const std::string& name, const std::vector<std::string>& command,
                                              uint16_t port, const std::filesystem::path& folder) {
  const std::string log = (folder / (name + ".log")).string();
  auto process = std::make_unique<ServerProcess>(command, std::map<int, int>{}, log);
  const auto deadline = std::chrono::steady_clock::now() + 20s;
  while (std::chrono::steady_clock::now() < deadline) {
    try {
      close(connectTo(port));
      return process;
    } catch (const std::system_error&) {
      std::this_thread::sleep_for(20ms);
    }
  }
  throw std::runtime_error(name + " does not listen; see " + log);
}

std::unique_ptr<ServerProcess> startBroker(const std::string& kind, uint16_t port,
                                           const std::filesystem::path& folder) {
  return startListening(kind, commandOf(kind, port, folder), port, folder);
}

}  // namespace bench
