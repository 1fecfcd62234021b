#include "monitor/stream/Channel.h"

#include <grpcpp/client_context.h>
#include <grpcpp/completion_queue.h>
#include <grpcpp/create_channel.h>
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/security/credentials.h>
#include <grpcpp/support/byte_buffer.h>

#include <chrono>

#include "monitor/stream/Stream.h"

namespace monitor {

std::shared_ptr<::grpc::Channel> makeChannel(const std::string& address) {
  ::grpc::ChannelArguments arguments;
  // The library measures the line and enlarges its receive window up to 4 MB. A reader that is slow would then find up
  // to 4 MB of old meters on its own side, while the server, which keeps only the newest message, believes them read.
  arguments.SetInt("grpc.http2.bdp_probe", 0);
  // Notices a device that vanished without a word. The server allows a ping every 5 s.
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIME_MS, 10'000);
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, 5'000);
  arguments.SetInt(GRPC_ARG_HTTP2_MAX_PINGS_WITHOUT_DATA, 0);
  // Each attempt is a connection of its own, not another look at one that is waiting after a failure.
  arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
  return ::grpc::CreateCustomChannel(address, ::grpc::InsecureChannelCredentials(), arguments);
}

/// Only the status of a call tells; it fails at once while the channel waits after its failure.
std::string whyNotConnected(const std::shared_ptr<::grpc::Channel>& channel) {
  ::grpc::ClientContext context;
  context.set_deadline(std::chrono::system_clock::now() + std::chrono::seconds(1));
  ::grpc::CompletionQueue queue;
  ::grpc::GenericStub stub(channel);
  const ::grpc::Slice nothing;
  const auto call = stub.PrepareUnaryCall(&context, methodOf(Stream::fast), ::grpc::ByteBuffer(&nothing, 1), &queue);
  ::grpc::ByteBuffer answer;
  ::grpc::Status status;
  call->StartCall();
  call->Finish(&answer, &status, nullptr);
  void* tag = nullptr;
  bool ok = false;
  queue.Next(&tag, &ok);
  return status.error_message();
}

}  // namespace monitor
