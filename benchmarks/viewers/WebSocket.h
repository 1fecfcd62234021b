#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace bench::webSocket {

enum Opcode : unsigned char { binary = 2, close = 8, ping = 9, pong = 10 };

/// What opens a connection, and the answer to it: the key of the standard's example.
extern const std::string request;
extern const std::string answer;

/// A frame as a server sends it, and as a client does: masked, with zeros.
std::string fromServer(Opcode opcode, std::string_view payload);
std::string fromClient(Opcode opcode, std::string_view payload);

/// A frame from a server.
struct Frame {
  unsigned char opcode;
  std::string_view payload;
  std::size_t size;  ///< with its header
};

/// The frame at the beginning of the bytes; nothing while they are not all of it.
std::optional<Frame> firstFrame(std::string_view bytes);

}  // namespace bench::webSocket
