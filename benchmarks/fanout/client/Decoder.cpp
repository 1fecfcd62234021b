#include "fanout/client/Decoder.h"

#include <algorithm>
#include <stdexcept>

#include "fanout/BrokerProtocol.h"
#include "fanout/client/Http2Decoder.h"
#include "viewers/LiveDecoder.h"

namespace bench {

void MessageReader::Begin(std::size_t messageSize, const NumberOffsets& numberOffsets) {
  const auto found = numberOffsets.find(messageSize);
  if (found == numberOffsets.end()) throw std::runtime_error("a message has an unexpected size");
  size = messageSize;
  position = 0;
  offset = found->second;
  sequence = 0;
}

std::size_t MessageReader::Take(std::string_view bytes) {
  const std::size_t taken = std::min(bytes.size(), size - position);
  const std::size_t end = std::min(position + taken, offset + sizeof sequence);
  for (std::size_t at = std::max(position, offset); at < end; ++at) {
    sequence |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[at - position])) << (8 * (at - offset));
  }
  position += taken;
  return taken;
}

namespace {

/// Common to the brokers' protocols: control lines or headers between messages.
class BrokerDecoder : public Decoder {
 public:
  BrokerDecoder(std::string broker, const NumberOffsets& numberOffsets)
      : broker(std::move(broker)), numberOffsets(numberOffsets) {}

  std::string Greeting() const override { return connectBytes(broker) + subscribeBytes(broker); }

  void Feed(std::string_view bytes, const OnMessage& onMessage, const Reply& reply) override {
    while (!bytes.empty()) {
      if (skip > 0) {
        const std::size_t skipped = std::min(skip, bytes.size());
        bytes.remove_prefix(skipped);
        skip -= skipped;
      } else if (inMessage) {
        bytes.remove_prefix(message.Take(bytes));
        if (!message.Complete()) return;
        inMessage = false;
        onMessage(message.Sequence());
      } else {
        control += bytes.front();
        bytes.remove_prefix(1);
        if (ControlComplete()) HandleControl(reply);
      }
    }
  }

 protected:
  virtual bool ControlComplete() const { return control.ends_with("\r\n"); }
  /// Handles `control`, a complete control line or header, and clears it.
  virtual void HandleControl(const Reply& reply) = 0;

  void BeginMessage(std::size_t size) {
    message.Begin(size, numberOffsets);
    inMessage = true;
  }

  std::string control;
  std::size_t skip = 0;  ///< bytes to ignore

 private:
  const std::string broker;
  const NumberOffsets& numberOffsets;
  MessageReader message;
  bool inMessage = false;
};

class NatsDecoder final : public BrokerDecoder {
  using BrokerDecoder::BrokerDecoder;

  void HandleControl(const Reply& reply) override {
    if (control.starts_with("MSG ")) BeginMessage(std::stoul(control.substr(control.rfind(' ', control.size() - 3))));
    if (control.starts_with("PING")) reply("PONG\r\n");
    if (control.starts_with("-ERR")) throw std::runtime_error(control);
    control.clear();  // the line end after a message is an empty line
  }
};

class RedisDecoder final : public BrokerDecoder {
  using BrokerDecoder::BrokerDecoder;

  void HandleControl(const Reply& /*reply*/) override {
    if (control.starts_with("-")) throw std::runtime_error(control);
    if (control.starts_with("*")) part = 0;
    if (control.starts_with("$")) {
      const std::size_t size = std::stoul(control.substr(1));
      if (++part == 3) {
        BeginMessage(size);
      } else {
        skip = size + 2;
      }
    }
    control.clear();
  }

  int part = 0;
};

class MqttDecoder final : public BrokerDecoder {
  using BrokerDecoder::BrokerDecoder;

  bool ControlComplete() const override {
    return control.size() > 1 && (static_cast<unsigned char>(control.back()) & 0x80U) == 0;
  }

  void HandleControl(const Reply& /*reply*/) override {
    constexpr std::size_t topicSize = 3;
    std::size_t size = 0;
    for (std::size_t i = control.size() - 1; i > 0; --i) {
      size = size << 7U | (static_cast<unsigned char>(control[i]) & 0x7FU);
    }
    const bool isMessage = (static_cast<unsigned char>(control[0]) >> 4U) == 3;
    control.clear();
    skip = size;
    if (!isMessage) return;
    skip = topicSize;
    BeginMessage(size - topicSize);
  }
};

}  // namespace

std::unique_ptr<Decoder> makeDecoder(const std::string& protocol, const NumberOffsets& numberOffsets) {
  if (protocol == "nats-server") return std::make_unique<NatsDecoder>(protocol, numberOffsets);
  if (protocol == "redis-server") return std::make_unique<RedisDecoder>(protocol, numberOffsets);
  if (protocol == "mosquitto") return std::make_unique<MqttDecoder>(protocol, numberOffsets);
  if (protocol == "live") return std::make_unique<LiveDecoder>(numberOffsets, true);
  if (protocol == "live-tcp") return std::make_unique<LiveDecoder>(numberOffsets, false);
  return std::make_unique<Http2Decoder>(numberOffsets);
}

}  // namespace bench
