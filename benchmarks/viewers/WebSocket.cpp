#include "viewers/WebSocket.h"

#include <cstdint>

namespace bench::webSocket {

namespace {

constexpr unsigned char final = 0x80;
constexpr unsigned char masked = 0x80;
constexpr std::size_t shortest = 126;  ///< sizes from here on take two bytes more, those of 64 KiB eight
constexpr std::size_t longest = 1U << 16U;

std::string header(Opcode opcode, std::size_t size, unsigned char mask) {
  std::string bytes(1, static_cast<char>(final | opcode));
  const int more = size < shortest ? 0 : size < longest ? 2 : 8;
  const std::size_t first = more == 0 ? size : more == 2 ? shortest : shortest + 1;
  bytes += static_cast<char>(mask | first);
  for (int shift = (more - 1) * 8; shift >= 0; shift -= 8) bytes += static_cast<char>(size >> shift);
  return bytes;
}

}  // namespace

const std::string request =
    "GET /live HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
    "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
    "Sec-WebSocket-Protocol: corvalux.v1\r\n\r\n";
const std::string answer =
    "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
    "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\nSec-WebSocket-Protocol: corvalux.v1\r\n\r\n";

std::string fromServer(Opcode opcode, std::string_view payload) {
  return header(opcode, payload.size(), 0).append(payload);
}

std::string fromClient(Opcode opcode, std::string_view payload) {
  return header(opcode, payload.size(), masked).append(4, '\0').append(payload);
}

std::optional<Frame> firstFrame(std::string_view bytes) {
  if (bytes.size() < 2) return std::nullopt;
  std::size_t size = static_cast<unsigned char>(bytes[1]);
  const std::size_t more = size < shortest ? 0 : size == shortest ? 2 : 8;
  if (bytes.size() < 2 + more) return std::nullopt;
  if (more > 0) size = 0;
  for (const char byte : bytes.substr(2, more)) size = size << 8U | static_cast<unsigned char>(byte);
  if (bytes.size() - 2 - more < size) return std::nullopt;
  constexpr unsigned char opcodes = 0x0F;
  const auto opcode = static_cast<unsigned char>(static_cast<unsigned char>(bytes[0]) & opcodes);
  return Frame{opcode, bytes.substr(2 + more, size), 2 + more + size};
}

}  // namespace bench::webSocket
