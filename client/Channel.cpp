#include "client/Channel.h"

#include <grpcpp/client_context.h>
#include <grpcpp/create_channel.h>
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/security/credentials.h>
#include <grpcpp/support/byte_buffer.h>
#include <grpcpp/support/slice.h>
#include <grpcpp/support/status.h>

namespace corvalux::client {

namespace {

/// A call that fails at once, on a channel without a server.
struct Anchor {
  std::shared_ptr<::grpc::Channel> channel = ::grpc::CreateChannel("", nullptr);
  ::grpc::ClientContext context;
  ::grpc::Slice nothing;
  ::grpc::ByteBuffer request{&nothing, 1};
  ::grpc::ByteBuffer response;

  Anchor() {
    ::grpc::GenericStub(channel).UnaryCall(&context, "/", {}, &request, &response, [](const ::grpc::Status&) {});
  }
};

/// Feeds destroy their channels on gRPC's callback threads. In gRPC 1.51 the last channel that has made callback calls
/// joins these threads, which aborts the process if done on one of them. So one such channel is kept for the process's
/// lifetime.
void keepLibraryRunning() {
  static const Anchor* volatile const anchor = new Anchor;  // volatile: kept in memory, where leak checkers find it
  static_cast<void>(anchor);
}

}  // namespace

std::shared_ptr<::grpc::Channel> makeChannel(const std::string& address, const Keepalive& keepalive,
                                             std::size_t messageBytes) {
  keepLibraryRunning();
  ::grpc::ChannelArguments arguments;
  // With the probe, gRPC enlarges the receive window up to 4 MB. A slow reader would then find up to 4 MB of old meters
  // on its own side, which the server takes for read.
  arguments.SetInt("grpc.http2.bdp_probe", 0);
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIME_MS, static_cast<int>(keepalive.interval.count()));
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, static_cast<int>(keepalive.timeout.count()));
  arguments.SetInt(GRPC_ARG_HTTP2_MAX_PINGS_WITHOUT_DATA, 0);
  // Each attempt opens a connection of its own, instead of sharing one that is backing off after a failure.
  arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
  // A feed retries itself; and without gRPC's retries the request is written only once there is a connection.
  arguments.SetInt(GRPC_ARG_ENABLE_RETRIES, 0);
  arguments.SetMaxReceiveMessageSize(static_cast<int>(messageBytes));
  return ::grpc::CreateCustomChannel(address, ::grpc::InsecureChannelCredentials(), arguments);
}

}  // namespace corvalux::client
