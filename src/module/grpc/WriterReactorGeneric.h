#pragma once

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/support/byte_buffer.h>
#include <grpcpp/support/server_callback.h>
#include <grpcpp/support/status.h>

#include <cstddef>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>

#include "Log.h"
#include "PublisherGeneric.h"
#include "ReactorOwnerGeneric.h"
#include "WriterGeneric.h"

namespace corvalux::grpc {

/// One client's stream: writes what its publisher hands it, one write at a time, and never reads.
/// Threads: Write on engine threads; the On... reactions on gRPC threads; FinishAndRemove on either gRPC threads or the
///   host's; all may overlap.
/// Locks: its mutex is the last of ours; StartWrite takes gRPC's stream lock under it. It is released before the
///   publisher is called, because a publisher calls Write with its own mutex held.
/// Ownership: owns itself; OnDone deletes it. Shares messages with the other streams. Keeps its service alive. The
///   publisher must outlive it.
/// Backpressure: with `keepLatestOnly` at most one message waits, the newest; else at most 1001, newer ones are
///   dropped.
template <typename T>
class WriterReactorGeneric final : public WriterGeneric, public ::grpc::ServerGenericBidiReactor {
 public:
  WriterReactorGeneric(PublisherGeneric<T>* publisher, std::shared_ptr<ReactorOwnerGeneric<T>> owner,
                       bool keepLatestOnly = true)
      : publisher(publisher), owner(std::move(owner)), keepLatestOnly(keepLatestOnly) {
    writeOptions.set_no_compression().set_write_through();
  }

  ~WriterReactorGeneric() override {
    const std::lock_guard lock(mutex);  // the interface fixes it: docs/decisions/0011
    pendingQueue.clear();
  }

  WriterReactorGeneric(const WriterReactorGeneric&) = delete;
  WriterReactorGeneric& operator=(const WriterReactorGeneric&) = delete;

  /// Starts writing `message`, or queues it while a write is outstanding. May be called before gRPC has bound the
  /// stream: gRPC then holds the write back until it has.
  void Write(std::shared_ptr<::grpc::ByteBuffer> message) override {
    const std::lock_guard lock(mutex);
    if (finished) return;
    if (inFlight) {
      Enqueue(std::move(message));
      return;
    }
    if (!pendingQueue.empty()) {  // a write has failed, and nobody has marked the stream finished yet
      pendingQueue.push_back(std::move(message));
      message = TakePending();
    }
    try {
      StartWriteOf(std::move(message));
    } catch (const std::exception& e) {
      CORVALUX_LOG(logWarning, "%s() %s", "Write", e.what());
    }
  }

  /// Waits for the publisher's hand-out first, see HandOutGate.
  void OnWriteDone(bool ok) override {
    publisher->AwaitHandOut();
    if (!ok) {
      CORVALUX_LOG(logDetail, "OnWriteDone Cancelled!");
      ReleaseInFlight();
      FinishAndRemove();
      return;
    }
    const std::lock_guard lock(mutex);
    inFlight.reset();
    if (!finished && !pendingQueue.empty()) StartWriteOf(TakePending());
  }

  void OnDone() override {
    CORVALUX_LOG(logDetail, "OnDone invoked: cleaning up reactor %p", Address());
    owner->ReactorDone(this);
    delete this;
  }

  void OnCancel() override {
    CORVALUX_LOG(logDetail, "OnCancel invoked: cleaning up reactor %p", Address());
    FinishAndRemove();
  }

  /// No read is ever started, so this is misuse of the stream: it ends the call even if the call was finished before.
  void OnReadDone(bool /*ok*/) override {
    CORVALUX_LOG(logError, "Reactor %p only supports write operations, but it was used on a read operation", Address());
    MarkFinished();
    publisher->Remove(this);
    Finish(::grpc::Status(::grpc::StatusCode::INTERNAL, "This reactor does not support reading"));
  }

  /// Unsubscribes and ends the call with CANCELLED. Of several callers only the first one ends the call.
  void FinishAndRemove() {
    MarkFinished();
    CORVALUX_LOG(logDetail, "removing reactor %p from publisher", Address());
    if (!publisher->Remove(this)) {
      CORVALUX_LOG(logDetail, "!! Finish called on reactor which was already removed %p", Address());
      return;
    }
    CORVALUX_LOG(logDetail, "calling Finish on reactor %p", Address());
    Finish(::grpc::Status::CANCELLED);
  }

 private:
  static constexpr std::size_t queueLimit = 1001;  // no service keeps a backlog: docs/decisions/0011

  const void* Address() const { return this; }

  void MarkFinished() {
    const std::lock_guard lock(mutex);
    finished = true;
  }

  void ReleaseInFlight() {
    const std::lock_guard lock(mutex);
    inFlight.reset();
  }

  /// Called with the mutex held, while a write is outstanding.
  void Enqueue(std::shared_ptr<::grpc::ByteBuffer> message) {
    if (keepLatestOnly) {
      pendingQueue.clear();
    } else if (pendingQueue.size() >= queueLimit) {
      CORVALUX_LOG(logWarning, "Write queue size is %zu, this may cause increased memory usage and latency",
                   pendingQueue.size());
      return;
    }
    pendingQueue.push_back(std::move(message));
  }

  /// Called with the mutex held and a message queued.
  std::shared_ptr<::grpc::ByteBuffer> TakePending() {
    auto message = std::move(pendingQueue.front());
    pendingQueue.pop_front();
    if (keepLatestOnly && !pendingQueue.empty()) {
      message = std::move(pendingQueue.back());
      pendingQueue.clear();
    }
    return message;
  }

  /// Called with the mutex held and no write outstanding. Choosing the message and starting its write are one step
  /// under the mutex: that keeps a single write outstanding while Write and OnWriteDone race.
  void StartWriteOf(std::shared_ptr<::grpc::ByteBuffer> message) {
    inFlight = std::move(message);
    StartWrite(inFlight.get(), writeOptions);
  }

  std::deque<std::shared_ptr<::grpc::ByteBuffer>> pendingQueue;  // guarded by mutex; oldest first
  std::shared_ptr<::grpc::ByteBuffer> inFlight;                  // guarded by mutex; set while a write is outstanding
  bool finished = false;                                         // guarded by mutex; never reset
  std::mutex mutex;
  PublisherGeneric<T>* const publisher;
  const std::shared_ptr<ReactorOwnerGeneric<T>> owner;  // after inFlight, so released before it: docs/decisions/0011
  const bool keepLatestOnly;
  ::grpc::WriteOptions writeOptions;
};

}  // namespace corvalux::grpc
