#pragma once

#include <grpcpp/impl/channel_argument_option.h>
#include <grpcpp/resource_quota.h>
#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server.h>
#include <grpcpp/server_builder.h>

#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "fanout/server/Subject.h"

namespace bench {

/// Starts a gRPC server with the module's quota and channel arguments; `addService` registers what it serves.
std::unique_ptr<::grpc::Server> startGrpcServer(uint16_t port, const auto& addService) {
  ::grpc::ServerBuilder builder;
  ::grpc::ResourceQuota quota("resource-quota");
  quota.Resize(quotaKb * 1024);
  builder.SetResourceQuota(quota);
  builder.AddListeningPort("127.0.0.1:" + std::to_string(port), ::grpc::InsecureServerCredentials());
  builder.SetOption(::grpc::MakeChannelArgumentOption("grpc.keepalive_permit_without_calls", 1));
  builder.SetOption(::grpc::MakeChannelArgumentOption("grpc.http2.min_ping_interval_without_data_ms", 5000));
  addService(builder);
  auto server = builder.BuildAndStart();
  if (!server) throw std::runtime_error("the server did not start");
  return server;
}

/// The open streams of a gRPC server. A `Stream` is constructed with this list, which owns none of them.
/// Threads: Write on the engine's thread; Open and Remove on gRPC threads; all may overlap.
template <typename Stream>
class OpenStreams {
 public:
  Stream* Open() {
    const std::lock_guard lock(mutex);
    return streams.emplace_back(new Stream(*this));
  }

  void Remove(Stream* stream) {
    const std::lock_guard lock(mutex);
    std::erase(streams, stream);
  }

  void Write(const auto& message) {
    const std::lock_guard lock(mutex);
    for (Stream* stream : streams) stream->Write(message);
  }

 private:
  std::mutex mutex;
  std::vector<Stream*> streams;  // guarded by mutex
};

}  // namespace bench
