#pragma once

#include <grpcpp/client_context.h>
#include <grpcpp/completion_queue.h>
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/support/byte_buffer.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace bench {

/// A client with its own connection and completion queue, which polls on the calling thread: gRPC threads that wait do
/// not delay it.
class Probe {
 public:
  explicit Probe(uint16_t port);
  ~Probe();
  Probe(const Probe&) = delete;
  Probe& operator=(const Probe&) = delete;

  /// Calls a method that no server knows, and waits for the answer UNIMPLEMENTED.
  void Call();

  /// Opens a stream. One at a time.
  void Open(const std::string& method);
  /// Whether the next message arrives in time. If not, the next Read waits for the same one.
  bool Read(std::chrono::milliseconds limit);
  void Cancel() { context->TryCancel(); }
  /// Waits for the end of the stream.
  void Close();

 private:
  void Await();

  ::grpc::CompletionQueue queue;
  ::grpc::GenericStub stub;
  std::unique_ptr<::grpc::ClientContext> context;
  std::unique_ptr<::grpc::GenericClientAsyncReaderWriter> stream;
  ::grpc::ByteBuffer message;
  bool reading = false;
};

}  // namespace bench
