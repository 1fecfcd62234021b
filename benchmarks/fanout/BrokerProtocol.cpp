#include "fanout/BrokerProtocol.h"

namespace bench {

namespace {

using namespace std::string_literals;

/// A number in MQTT's encoding: seven bits per byte, the lowest first.
std::string varint(std::size_t number) {
  std::string bytes;
  do {
    const auto low = static_cast<char>(number & 0x7FU);
    number >>= 7U;
    bytes += number > 0 ? static_cast<char>(low | 0x80) : low;
  } while (number > 0);
  return bytes;
}

}  // namespace

std::string connectBytes(const std::string& broker) {
  if (broker == "nats-server") return "CONNECT {\"verbose\":false,\"pedantic\":false}\r\n";
  // MQTT 3.1.1, a clean session without client ID and keep-alive.
  if (broker == "mosquitto") return "\x10\x0C\x00\x04MQTT\x04\x02\x00\x00\x00\x00"s;
  return "";
}

std::string subscribeBytes(const std::string& broker) {
  if (broker == "nats-server") return "SUB m 1\r\n";
  if (broker == "mosquitto") return "\x82\x06\x00\x01\x00\x01m\x00"s;
  return "*2\r\n$9\r\nSUBSCRIBE\r\n$1\r\nm\r\n";
}

std::string publishPrefix(const std::string& broker, std::size_t size) {
  const std::string number = std::to_string(size);
  std::string bytes;
  if (broker == "nats-server") return bytes.append("PUB m ").append(number).append("\r\n");
  if (broker == "mosquitto") return bytes.append("\x30").append(varint(size + 3)).append("\x00\x01m"s);
  return bytes.append("*3\r\n$7\r\nPUBLISH\r\n$1\r\nm\r\n$").append(number).append("\r\n");
}

std::string publishSuffix(const std::string& broker) { return broker == "mosquitto" ? "" : "\r\n"; }

}  // namespace bench
