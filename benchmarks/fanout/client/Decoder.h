#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace bench {

/// The offset of the event's number in a message, by the message's size, which identifies its load.
using NumberOffsets = std::map<std::size_t, std::size_t>;

/// Takes a message in pieces, as it arrives, and keeps only its event's number.
class MessageReader {
 public:
  /// Throws std::runtime_error for a size that no message has.
  void Begin(std::size_t messageSize, const NumberOffsets& numberOffsets);
  /// Returns how many of the bytes belonged to the message.
  std::size_t Take(std::string_view bytes);
  bool Complete() const { return position == size; }
  uint32_t Sequence() const { return sequence; }

 private:
  std::size_t size = 0;
  std::size_t position = 0;
  std::size_t offset = 0;
  uint32_t sequence = 0;
};

/// Parses one connection's bytes, with as little work as its protocol allows.
class Decoder {
 public:
  /// Sends on the connection.
  using Reply = std::function<void(std::string_view)>;
  /// Called with each message's event.
  using OnMessage = std::function<void(uint32_t sequence)>;

  virtual ~Decoder() = default;

  /// The client's first bytes: they subscribe.
  virtual std::string Greeting() const = 0;
  /// Throws std::runtime_error on an unexpected answer.
  virtual void Feed(std::string_view bytes, const OnMessage& onMessage, const Reply& reply) = 0;
  /// Called every few ms, of the steady clock.
  virtual void Tick(int64_t /*nowNs*/, const Reply& /*reply*/) {}
  /// Whether all present values have arrived, for those that begin with them.
  virtual bool Joined() const { return false; }
};

/// For the gRPC servers and the floor ("grpc"), for a broker by its name, or for viewers: "live"
/// acknowledges, "live-tcp" does not.
std::unique_ptr<Decoder> makeDecoder(const std::string& protocol, const NumberOffsets& numberOffsets);

}  // namespace bench
