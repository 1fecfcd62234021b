#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>

namespace test {

/// A port of the loopback address that nobody listens on; 0 when there is none.
inline uint16_t freePort() {
  const int file = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  const bool found = bind(file, generic, size) == 0 && getsockname(file, generic, &size) == 0;
  close(file);
  return found ? ntohs(address.sin_port) : 0;
}

}  // namespace test
