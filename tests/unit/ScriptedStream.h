#pragma once

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/support/byte_buffer.h>
#include <grpcpp/support/server_callback.h>
#include <grpcpp/support/status.h>

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace test {

/// The library's side of one call: keeps what the reactor asks for, and tells the reactor what the test says, in any
/// order. A second write while one is outstanding, and a write after the end, fail the test.
/// Threads: thread-safe, but for construction, Bind, Done, SetOnWrite and SetOnFinish.
/// Ownership: a reactor is freed by its OnDone alone, so a call that the test has not ended is ended at last.
class ScriptedStream final : public ::grpc::ServerCallbackReaderWriter<::grpc::ByteBuffer, ::grpc::ByteBuffer> {
 public:
  struct Written {
    const ::grpc::ByteBuffer* buffer;
    std::string bytes;
    ::grpc::WriteOptions options;
  };

  explicit ScriptedStream(::grpc::ServerGenericBidiReactor* call, bool bind = true);
  ~ScriptedStream() override;
  ScriptedStream(const ScriptedStream&) = delete;
  ScriptedStream& operator=(const ScriptedStream&) = delete;

  // What the library does.
  void Bind();
  void CompleteWrite(bool ok = true);
  void CompleteRead(bool ok);
  void Cancel();
  void Done();

  // What the reactor asked for so far, oldest first.
  std::vector<Written> Writes() const;
  std::vector<std::string> Sent() const;
  std::string LastSent() const;
  std::vector<::grpc::Status> Finishes() const;
  bool Writing() const;

  /// Waits until a write is outstanding, or until the call was finished; false when neither happens in time.
  bool WaitForWrite() const;
  bool WaitForFinish() const;

  /// Runs within each Write of the reactor, first of all; what it throws, Write throws.
  void SetOnWrite(std::function<void()> action) { onWrite = std::move(action); }

  /// Runs within each Finish of the reactor, first of all.
  void SetOnFinish(std::function<void()> action) { onFinish = std::move(action); }

  // What the reactor calls.
  void Write(const ::grpc::ByteBuffer* message, ::grpc::WriteOptions options) override;
  void Finish(::grpc::Status status) override;
  void Read(::grpc::ByteBuffer* message) override;
  void SendInitialMetadata() override;
  void WriteAndFinish(const ::grpc::ByteBuffer* message, ::grpc::WriteOptions options, ::grpc::Status status) override;

 private:
  ::grpc::internal::ServerReactor* reactor() override { return bidi; }
  void CallOnDone() override {}
  // Newer libraries ask for the call behind a stream; there is none, and older ones have nothing to override.
  grpc_call* call() { return nullptr; }  // NOLINT(modernize-use-override)

  ::grpc::ServerGenericBidiReactor* bidi;  // null when done
  std::function<void()> onWrite;
  std::function<void()> onFinish;
  mutable std::mutex mutex;
  mutable std::condition_variable changed;
  bool writing = false;                  // guarded by mutex
  std::vector<Written> writes;           // guarded by mutex
  std::vector<::grpc::Status> finishes;  // guarded by mutex
};

}  // namespace test
