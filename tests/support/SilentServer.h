#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace test {

/// A Unix socket that accepts connections, and never sends anything.
class SilentServer {
 public:
  explicit SilentServer(const std::filesystem::path& path) : file(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.string().copy(address.sun_path, sizeof address.sun_path - 1);
    if (bind(file, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) listen(file, 100);
  }
  ~SilentServer() { close(file); }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;

 private:
  int file;
};

}  // namespace test
