// Bytes on the listening port of the running module. Whatever they are, a client on another connection still receives
// messages.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "fuzz/Check.h"
#include "sim/Instance.h"
#include "sim/LoadedModule.h"
#include "sim/Misuse.h"
#include "support/StreamClient.h"
#include "support/TempDir.h"

namespace {

constexpr char preface[] = "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n\0\0\0\4\0\0\0\0";

/// One running module for the whole process.
struct Target {
  Target() { FUZZ_CHECK(instance.Start({{"serverUrl", dir.UnixAddress()}, {"grpc_memory_kb", 65536}}) == 0); }

  test::TempDir dir;
  sim::LoadedModule module{CORVALUX_MODULE_FILE};
  sim::Engine engine;
  sim::Instance instance{module.Entry(), engine};
};

int connectTo(const std::filesystem::path& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  FUZZ_CHECK(descriptor >= 0);
  FUZZ_CHECK(connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0);
  return descriptor;
}

/// Sends what the server takes, and waits a moment for its answer.
void sendBytes(int descriptor, const void* bytes, std::size_t size) {
  const timeval moment{0, 2000};
  setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &moment, sizeof moment);
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &moment, sizeof moment);
  char answer[4096];
  if (send(descriptor, bytes, size, MSG_NOSIGNAL) >= 0) (void)recv(descriptor, answer, sizeof answer, 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  static Target target;
  static test::StreamClient healthy(target.dir.UnixAddress(), test::fastMethod);
  const int descriptor = connectTo(target.dir.Path() / "socket");
  // Half of the inputs begin as a client should: what they hold is then read as frames.
  if (size > 0 && data[0] % 2 == 0) sendBytes(descriptor, preface, sizeof preface - 1);
  sendBytes(descriptor, data, size);
  close(descriptor);

  const std::size_t before = healthy.Count();
  for (int i = 0; i < 20000 && healthy.Count() <= before; ++i) {
    target.engine.Emit(sim::Event::meterFast, {{"counter", static_cast<uint32_t>(i)}});
    usleep(100);
  }
  FUZZ_CHECK(healthy.Count() > before);
  FUZZ_CHECK(sim::takeMisuse().empty());
  return 0;
}
