#pragma once

#include <grpcpp/client_context.h>
#include <grpcpp/completion_queue.h>
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/support/byte_buffer.h>
#include <grpcpp/support/status.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "support/Deadline.h"
#include "support/StreamClient.h"

namespace test {

/// A call that is driven step by step: it reads, sends and half-closes only on request.
/// Threads: use on one thread at a time.
class RawCall {
 public:
  /// `waitForReady` false: the call fails at once when there is no server.
  RawCall(std::shared_ptr<::grpc::Channel> channel, const std::string& method, bool waitForReady = true);
  RawCall(const std::string& address, const std::string& method) : RawCall(connect(address), method) {}
  /// Cancels the call.
  ~RawCall();
  RawCall(const RawCall&) = delete;
  RawCall& operator=(const RawCall&) = delete;

  /// The bytes of the next message; nothing when it does not come in time or the call has ended.
  std::optional<std::string> Read(std::chrono::milliseconds limit = patience);

  /// Sends a request message; false when the server's side does not take it in time or the call has ended.
  bool Write(const std::string& bytes, std::chrono::milliseconds limit = patience);

  bool HalfClose();

  /// Whether the last Read may still bring a message: it ran out of time, not out of messages.
  bool Open() const { return read.pending; }

  /// Waits for the end of the call, however long it takes. Unread messages keep the call from ending.
  ::grpc::Status Finish();

  void Cancel() { context.TryCancel(); }

 private:
  /// An operation that the library may still be working on.
  struct Step {
    bool pending = false;
    bool ok = false;
  };

  /// Waits until the library has done the step; false when it has not in time, or failed it.
  bool Complete(Step& step, std::chrono::system_clock::time_point deadline);
  bool Complete(Step& step, std::chrono::milliseconds limit);
  void* Begin(Step& step);

  std::shared_ptr<::grpc::Channel> channel;
  ::grpc::GenericStub stub;
  ::grpc::CompletionQueue queue;
  ::grpc::ClientContext context;
  std::unique_ptr<::grpc::GenericClientAsyncReaderWriter> call;
  Step start, read, write, halfClose, finish;
  ::grpc::ByteBuffer received;
  ::grpc::Status status;
};

}  // namespace test
