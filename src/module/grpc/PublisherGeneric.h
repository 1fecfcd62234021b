#pragma once

#if __has_include(<grpcpp/impl/proto_utils.h>)
#include <grpcpp/impl/proto_utils.h>
#else  // gRPC 1.51 keeps it here
#include <grpcpp/impl/codegen/proto_utils.h>
#endif
#include <grpcpp/support/byte_buffer.h>
#include <grpcpp/support/status.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "HandOutGate.h"
#include "Log.h"
#include "WriterGeneric.h"

namespace corvalux::grpc {

template <typename T>
class WriterReactorGeneric;

/// Fans a message out to every subscribed stream: serialised once, then shared, never copied per client.
/// Threads: Publish on engine threads; Add and AwaitHandOut on gRPC threads; Remove on gRPC threads and the host's; all
///   may overlap.
/// Locks: order is service, then this, then reactor; so never call Remove while holding a reactor's mutex. AwaitHandOut
///   takes none, and must be called with none of ours held.
/// Ownership: lists reactors, owns none; each must Remove itself before it finishes its call.
/// Delivery: no backlog here; a slow stream keeps what its reactor's queue rule keeps. Publish never waits for a
///   client.
/// Errors: a message that cannot be serialised is logged once (level 4) and reaches nobody.
/// Cost: without subscribers, one flag read; else one serialisation, then one Write per stream under the mutex.
template <typename T>
class PublisherGeneric {
 public:
  /// Subscribes a reactor; a no-op if it is subscribed already.
  void Add(WriterReactorGeneric<T>* reactor) {
    const std::lock_guard lock(mutex);
    if (std::find(reactors.begin(), reactors.end(), reactor) == reactors.end()) reactors.push_back(reactor);
    hasSubscribers.store(true, std::memory_order_relaxed);
  }

  /// Unsubscribes a reactor. Returns whether it was subscribed: only the first of several callers gets true.
  bool Remove(WriterReactorGeneric<T>* reactor) {
    const std::lock_guard lock(mutex);
    const auto found = std::find(reactors.begin(), reactors.end(), reactor);
    if (found == reactors.end()) return false;
    reactors.erase(found);
    hasSubscribers.store(!reactors.empty(), std::memory_order_relaxed);
    return true;
  }

  /// Whether an event is worth converting. A hint, read without the mutex: a client that subscribes at this very
  /// moment may miss one event, and one event may be converted for a client that has just left.
  bool HasSubscribers() const { return hasSubscribers.load(std::memory_order_relaxed); }

  void Publish(const T& message) {
    if (!HasSubscribers()) return;
    auto buffer = std::make_shared<::grpc::ByteBuffer>();
    bool ownBuffer = false;
    const ::grpc::Status status = ::grpc::SerializationTraits<T>::Serialize(message, buffer.get(), &ownBuffer);
    if (!status.ok()) {
      CORVALUX_LOG(logError, "Unable to serialize element: %s", status.error_message().c_str());
      return;
    }
    const std::lock_guard lock(mutex);
    const HandOutGate::HandOut handOut(gate);
    for (WriterGeneric* writer : reactors) writer->Write(buffer);
  }

  /// Waits until the current hand-out, if any, has reached every stream.
  void AwaitHandOut() const { gate.Wait(); }

 private:
  std::vector<WriterReactorGeneric<T>*> reactors;  // guarded by mutex; in order of subscription
  std::atomic<bool> hasSubscribers = false;        // written under mutex, read without it
  std::mutex mutex;
  HandOutGate gate;
};

}  // namespace corvalux::grpc
