#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fanout/client/Decoder.h"

namespace bench {

/// All subscribers of one server: one connection each, one thread for all. Throws when the server closes a connection.
class Subscribers {
 public:
  struct Arrival {
    uint32_t sequence;
    int64_t ns;  ///< steady clock
  };

  Subscribers(std::string protocol, uint16_t port, const NumberOffsets& numberOffsets);
  ~Subscribers();
  Subscribers(const Subscribers&) = delete;
  Subscribers& operator=(const Subscribers&) = delete;

  /// Opens connections, or closes the newest ones.
  void Resize(std::size_t count);
  std::size_t Count() const { return connections.size(); }

  /// Whether each connection has received something since it was opened.
  bool AllHeard() const;

  /// Reads what has arrived, waiting up to `timeout` for the first bytes.
  void Poll(std::chrono::milliseconds timeout);

  /// Every message since the last Forget.
  const std::vector<Arrival>& Arrivals() const { return arrivals; }
  void Forget() { arrivals.clear(); }

  /// Counts the messages of one event from now on; a server may still be sending those of an older one.
  void Await(uint32_t sequence) {
    awaited = sequence;
    awaitedArrivals = 0;
  }
  std::size_t AwaitedArrivals() const { return awaitedArrivals; }

 private:
  struct Connection {
    int socket;
    std::unique_ptr<Decoder> decoder;
    bool heard = false;
  };

  void Open();
  void Read(Connection& connection);

  const std::string protocol;
  const uint16_t port;
  const NumberOffsets& numberOffsets;
  const int poll;
  std::vector<std::unique_ptr<Connection>> connections;
  std::vector<Arrival> arrivals;
  uint32_t awaited = 0;
  std::size_t awaitedArrivals = 0;
  std::vector<char> received;
};

}  // namespace bench
