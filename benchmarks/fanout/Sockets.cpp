#include "fanout/Sockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace bench {

namespace {

sockaddr_in loopback(uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

const sockaddr* plain(const sockaddr_in& address) { return reinterpret_cast<const sockaddr*>(&address); }

int makeSocket() {
  const int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (made < 0) throwErrno("socket");
  return made;
}

}  // namespace

void throwErrno(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

int connectTo(uint16_t port) {
  const int made = makeSocket();
  const auto address = loopback(port);
  if (connect(made, plain(address), sizeof address) != 0) {
    close(made);
    throwErrno("connect");
  }
  const int on = 1;
  setsockopt(made, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return made;
}

int listenOn(uint16_t port) {
  const int made = makeSocket();
  const int on = 1;
  setsockopt(made, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  const auto address = loopback(port);
  if (bind(made, plain(address), sizeof address) != 0 || listen(made, SOMAXCONN) != 0) throwErrno("listen");
  return made;
}

void raiseDescriptorLimit(std::size_t needed) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  if (limit.rlim_max < needed) {
    throw std::runtime_error("the limit of open files is below " + std::to_string(needed));
  }
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

void sendAll(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno != EINTR) throwErrno("send");
    if (sent > 0) bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

}  // namespace bench
