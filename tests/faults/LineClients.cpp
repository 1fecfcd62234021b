// Clients at the far end of a line: line_clients ADDRESS COUNT
// Each has a connection of its own and all three streams, and reads as fast as it can. Prints "ready" when every stream
// has brought a message, and when all have ended, how many did so with CANCELLED and the other statuses.
#include <grpcpp/create_channel.h>
#include <grpcpp/security/credentials.h>
#include <grpcpp/support/channel_arguments.h>

#include <cstdio>
#include <cstdlib>
#include <list>

#include "support/StreamClient.h"

namespace {

std::shared_ptr<::grpc::Channel> ownConnection(const char* address) {
  ::grpc::ChannelArguments arguments;
  arguments.SetInt("grpc.use_local_subchannel_pool", 1);
  return ::grpc::CreateCustomChannel(address, ::grpc::InsecureChannelCredentials(), arguments);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::list<test::StreamClient> streams;
  for (int i = 0; i < std::atoi(argv[2]); ++i) {
    const auto channel = ownConnection(argv[1]);
    for (const auto& method : {test::fastMethod, test::slowMethod, test::changesMethod}) {
      streams.emplace_back(channel, method);
    }
  }
  for (auto& stream : streams) {
    if (!stream.WaitForMessages(1)) return 1;
  }
  std::puts("ready");
  std::fflush(stdout);
  int cancelled = 0;
  for (auto& stream : streams) {
    const auto status = stream.WaitForStatus();
    if (!status) return 1;
    if (status->error_code() == ::grpc::StatusCode::CANCELLED) {
      ++cancelled;
    } else {
      std::fprintf(stderr, "%d %s\n", status->error_code(), status->error_message().c_str());
    }
  }
  std::printf("%d\n", cancelled);
  return 0;
}
