#pragma once

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/support/server_callback.h>

#include <string>
#include <vector>

#include "support/StreamClient.h"

namespace fuzz {

/// The library's side of one call on a single thread: only keeps what the reactor asks for.
class RecordedStream final : public ::grpc::ServerCallbackReaderWriter<::grpc::ByteBuffer, ::grpc::ByteBuffer> {
 public:
  struct WriteCall {
    const ::grpc::ByteBuffer* buffer;
    std::string bytes;
  };

  /// From now on the reactor's calls arrive here; those it made before arrive first.
  void Bind(::grpc::ServerGenericBidiReactor* reactor) {
    bound = reactor;
    BindReactor(reactor);
  }

  void Finish(::grpc::Status status) override { finishes.push_back(status); }
  void SendInitialMetadata() override {}
  void Read(::grpc::ByteBuffer* /*message*/) override { ++reads; }
  void Write(const ::grpc::ByteBuffer* message, ::grpc::WriteOptions /*options*/) override {
    writes.push_back({message, test::bytesOf(*message)});
  }
  void WriteAndFinish(const ::grpc::ByteBuffer* message, ::grpc::WriteOptions options, ::grpc::Status status) override {
    Write(message, options);
    Finish(status);
  }

  std::vector<WriteCall> writes;
  std::vector<::grpc::Status> finishes;
  int reads = 0;

 private:
  ::grpc::internal::ServerReactor* reactor() override { return bound; }
  void CallOnDone() override {}
  // Newer libraries ask for the call behind a stream; there is none, and older ones have nothing to override.
  grpc_call* call() { return nullptr; }  // NOLINT(modernize-use-override)

  ::grpc::ServerGenericBidiReactor* bound = nullptr;
};

}  // namespace fuzz
