#pragma once

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/support/server_callback.h>

#include <functional>
#include <string>
#include <vector>

#include "support/StreamClient.h"

namespace test {

/// Stands where the library's stream stands: records what a reactor asks for, and completes it when the test says so.
class MockStream final : public ::grpc::ServerCallbackReaderWriter<::grpc::ByteBuffer, ::grpc::ByteBuffer> {
 public:
  struct WriteCall {
    const ::grpc::ByteBuffer* buffer;
    std::string bytes;
    ::grpc::WriteOptions options;
  };

  /// From now on the reactor's calls arrive here; those it made before arrive first.
  void Bind(::grpc::ServerGenericBidiReactor* reactor) {
    bound = reactor;
    BindReactor(reactor);
  }

  void Finish(::grpc::Status status) override { finishes.push_back(status); }
  void SendInitialMetadata() override {}
  void Read(::grpc::ByteBuffer* /*message*/) override { ++reads; }
  void Write(const ::grpc::ByteBuffer* message, ::grpc::WriteOptions options) override {
    if (onWrite) onWrite();
    writes.push_back({message, bytesOf(*message), options});
  }
  void WriteAndFinish(const ::grpc::ByteBuffer* message, ::grpc::WriteOptions options, ::grpc::Status status) override {
    Write(message, options);
    Finish(status);
  }

  std::vector<WriteCall> writes;
  std::vector<::grpc::Status> finishes;
  int reads = 0;
  std::function<void()> onWrite;  ///< runs before a write is recorded, and may throw

 private:
  ::grpc::internal::ServerReactor* reactor() override { return bound; }
  void CallOnDone() override {}
  // Newer libraries ask for the call behind a stream; there is none, and older ones have nothing to override.
  grpc_call* call() { return nullptr; }  // NOLINT(modernize-use-override)

  ::grpc::ServerGenericBidiReactor* bound = nullptr;
};

}  // namespace test
