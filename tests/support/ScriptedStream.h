#pragma once

#include <grpcpp/generic/async_generic_service.h>

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "support/StreamMock.h"

namespace test {

/// The library's side of one call in the test's hands: records what the reactor asks for, and reports to the reactor
/// what the test decides, in any order. A second write while one is outstanding, and a write after the end, fail the
/// test.
/// Threads: thread-safe, but for construction, Bind, Done, SetOnWrite and SetOnFinish.
/// Ownership: a reactor is freed by its OnDone alone, so the destructor calls Done if the test has not.
class ScriptedStream final : public StreamMock {
 public:
  struct Written {
    const ::grpc::ByteBuffer* buffer;
    std::string bytes;
    ::grpc::WriteOptions options;
  };

  explicit ScriptedStream(::grpc::ServerGenericBidiReactor* reactor, bool bind = true);
  ~ScriptedStream() override;
  ScriptedStream(const ScriptedStream&) = delete;
  ScriptedStream& operator=(const ScriptedStream&) = delete;

  // What the library does. From Bind on the reactor's requests arrive; those that it made before arrive first.
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

  /// Runs at the beginning of each Write of the reactor; what it throws, Write throws.
  void SetOnWrite(std::function<void()> action) { onWrite = std::move(action); }

  /// Runs at the beginning of each Finish of the reactor.
  void SetOnFinish(std::function<void()> action) { onFinish = std::move(action); }

  // What the reactor calls.
  void Write(const ::grpc::ByteBuffer* message, ::grpc::WriteOptions options) override;
  void Finish(::grpc::Status status) override;

 private:
  ::grpc::internal::ServerReactor* reactor() override { return bidi; }

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
