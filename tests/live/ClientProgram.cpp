// A client in a process of its own, so that a test can freeze and kill it.
//   live_client ADDRESS METHOD read     reads until the stream ends, then prints "status CODE"
//   live_client ADDRESS METHOD stall    reads one message and no more, but keeps the connection alive
// Prints "subscribed" when the first message has come.
#include <cstdio>
#include <string>

#include "live/RawCall.h"

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  test::RawCall call(argv[1], argv[2]);
  call.HalfClose();
  if (!call.Read()) return 1;
  std::puts("subscribed");
  std::fflush(stdout);
  while (std::string(argv[3]) == "read" && call.Read()) {
  }
  std::printf("status %d\n", call.Finish().error_code());
  return 0;
}
