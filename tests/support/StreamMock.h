#pragma once

#include <grpcpp/support/byte_buffer.h>
#include <grpcpp/support/server_callback.h>
#include <grpcpp/support/status.h>

#include <stdexcept>

namespace test {

/// The library's side of one call, without a network: what every mock of it needs. A mock adds its reactor, Write and
/// Finish. A reactor of the module asks for nothing else, so everything else throws std::logic_error.
class StreamMock : public ::grpc::ServerCallbackReaderWriter<::grpc::ByteBuffer, ::grpc::ByteBuffer> {
 public:
  void SendInitialMetadata() override { throw std::logic_error("the reactor sends metadata"); }
  void Read(::grpc::ByteBuffer* /*message*/) override { throw std::logic_error("the reactor reads"); }
  void WriteAndFinish(const ::grpc::ByteBuffer* /*message*/, ::grpc::WriteOptions /*options*/,
                      ::grpc::Status /*status*/) override {
    throw std::logic_error("the reactor finishes with a message");
  }

 private:
  void CallOnDone() override {}
  // Newer libraries ask for the call behind a stream; there is none, and older ones have nothing to override.
  grpc_call* call() { return nullptr; }  // NOLINT(modernize-use-override)
};

}  // namespace test
