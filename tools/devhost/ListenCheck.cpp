#include "devhost/ListenCheck.h"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <sstream>

namespace corvalux::devhost {

namespace {

using Resolved = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Resolved resolve(const std::string& address) {
  const auto colon = address.rfind(':');
  if (colon == std::string::npos || address.starts_with("unix")) return {nullptr, freeaddrinfo};
  std::string host = address.substr(0, colon);
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int error = getaddrinfo(host.c_str(), address.substr(colon + 1).c_str(), &hints, &found);
  return {error == 0 ? found : nullptr, freeaddrinfo};
}

/// Tries to bind the address without sharing it; connections in TIME_WAIT do not count.
bool isTaken(const addrinfo& address) {
  const int file = socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, address.ai_protocol);
  if (file < 0) return false;
  const int on = 1;
  setsockopt(file, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  const bool taken = bind(file, address.ai_addr, address.ai_addrlen) != 0 && errno == EADDRINUSE;
  close(file);
  return taken;
}

}  // namespace

std::vector<std::string> takenAddresses(const std::string& serverUrl) {
  std::vector<std::string> taken;
  std::istringstream addresses(serverUrl);
  for (std::string address; addresses >> address;) {
    const Resolved resolved = resolve(address);
    if (resolved && isTaken(*resolved)) taken.push_back(address);
  }
  return taken;
}

}  // namespace corvalux::devhost
