#include "gateway/service/ServiceManager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace corvalux::gateway {

namespace {

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

ServiceManager::ServiceManager() : address(variable("NOTIFY_SOCKET")) {
  if (address.empty() || address.size() >= sizeof(sockaddr_un::sun_path)) return;
  if (address.front() == '@') address.front() = '\0';  // an abstract name
  socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const std::string time = variable("WATCHDOG_USEC");
  int64_t microseconds = 0;
  std::from_chars(time.data(), time.data() + time.size(), microseconds);
  const std::string pid = variable("WATCHDOG_PID");
  if (microseconds > 0 && (pid.empty() || pid == std::to_string(getpid()))) {
    interval = std::chrono::microseconds(microseconds / 2);
  }
}

ServiceManager::~ServiceManager() {
  if (socket >= 0) close(socket);
}

void ServiceManager::Reloading() const {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const int64_t microseconds = int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1'000;
  Send("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds));
}

void ServiceManager::Send(const std::string& message) const {
  if (socket < 0) return;
  sockaddr_un to{};
  to.sun_family = AF_UNIX;
  std::memcpy(to.sun_path, address.data(), address.size());
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.size());
  sendto(socket, message.data(), message.size(), MSG_NOSIGNAL, reinterpret_cast<sockaddr*>(&to), size);
}

}  // namespace corvalux::gateway
