#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>

namespace test {

/// A port of the loopback address that nobody listens on. Throws std::runtime_error when there is none.
inline uint16_t freePort() {
  const int file = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  const bool found = bind(file, generic, size) == 0 && getsockname(file, generic, &size) == 0;
  close(file);
  if (!found) throw std::runtime_error("no port is free");
  return ntohs(address.sin_port);
}

}  // namespace test
