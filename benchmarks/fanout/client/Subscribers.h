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
    uint32_t subscriber;  ///< counted from 0
    int64_t ns;           ///< steady clock
  };

  /// On these ports in turn.
  Subscribers(std::string protocol, std::vector<uint16_t> ports, const NumberOffsets& numberOffsets);
  ~Subscribers();
  Subscribers(const Subscribers&) = delete;
  Subscribers& operator=(const Subscribers&) = delete;

  /// Opens connections, or closes the newest ones.
  void Resize(std::size_t count);
  std::size_t Count() const { return connections.size(); }

  /// Lets the newest ones read no more, and closes those that were stopped before.
  void Stall(std::size_t count);

  /// Whether the newest one has all present values.
  bool NewestJoined() const { return connections.back()->decoder->Joined(); }

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
    explicit Connection(int socket) : socket(socket) {}
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    const int socket;
    uint32_t number = 0;
    std::unique_ptr<Decoder> decoder;
    bool heard = false;
  };

  void Open();
  void Read(Connection& connection);
  void Tick();

  const std::string protocol;
  const std::vector<uint16_t> ports;
  const NumberOffsets& numberOffsets;
  const int poll;
  const bool ticks;  ///< whether decoders send by themselves
  int64_t nextTick = 0;
  std::vector<std::unique_ptr<Connection>> connections;
  std::vector<std::unique_ptr<Connection>> stalled;
  std::vector<Arrival> arrivals;
  uint32_t awaited = 0;
  std::size_t awaitedArrivals = 0;
  std::vector<char> received;
};

}  // namespace bench
