#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace bench {

/// A TCP connection to a loopback port, with TCP_NODELAY. Throws std::system_error.
int connectTo(uint16_t port);

/// A socket that listens on a loopback port.
int listenOn(uint16_t port);

/// Lets this process open as many files as it may; throws std::runtime_error when that is fewer than `needed`.
void raiseDescriptorLimit(std::size_t needed);

/// Sends all bytes on a blocking socket; throws std::system_error.
void sendAll(int socket, std::string_view bytes);

/// Throws std::system_error for the current errno.
[[noreturn]] void throwErrno(const char* what);

}  // namespace bench
