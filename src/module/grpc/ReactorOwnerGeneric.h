#pragma once

#include <algorithm>
#include <list>
#include <memory>
#include <mutex>
#include <string>

namespace corvalux::grpc {

template <typename T>
class PublisherGeneric;
template <typename T>
class WriterReactorGeneric;

/// The status texts that every service holds. No stream sends them; the interface fixes them (docs/decisions/0011).
struct ServiceTexts {
  std::string internalError = "Internal server exception";
  std::string invalidParameters = "Invalid parameters";
  std::string operationFailed = "Operation failed";
};

/// The part of a service that keeps its open streams: creates them, closes them all, removes those that have ended.
/// Threads: CreateStream and ReactorDone on gRPC threads; FinishAll and Empty on the host's thread; all may overlap.
/// Locks: its mutex comes first, before a publisher's and a reactor's.
/// Ownership: must be held by a std::shared_ptr. Lists the streams, owns none; each stream holds a share of it.
template <typename T>
class ReactorOwnerGeneric : public std::enable_shared_from_this<ReactorOwnerGeneric<T>> {
 public:
  virtual ~ReactorOwnerGeneric() = default;

  /// Removes a stream that is about to delete itself. Searches from the front: streams that come and go by the thousand
  /// end in the order in which they came, and a search through all of them would delay every other stream, and a stop.
  virtual void ReactorDone(WriterReactorGeneric<T>* reactor) {
    const std::lock_guard lock(mutex);
    const auto found = std::find(reactors.begin(), reactors.end(), reactor);
    if (found != reactors.end()) reactors.erase(found);
  }

  /// Refuses further streams and ends the open ones with CANCELLED, in the order in which they were opened.
  void FinishAll() {
    const std::lock_guard lock(mutex);
    closing = true;
    for (auto* reactor : reactors) reactor->FinishAndRemove();
  }

  /// Whether every stream has ended.
  bool Empty() {
    const std::lock_guard lock(mutex);
    return reactors.empty();
  }

 protected:
  /// A new stream subscribed to `publisher`, which must outlive it; null once FinishAll was called.
  /// The stream owns itself. Throws std::bad_weak_ptr when no std::shared_ptr holds this service.
  WriterReactorGeneric<T>* CreateStream(PublisherGeneric<T>* publisher) {
    const std::lock_guard lock(mutex);
    if (closing) return nullptr;
    auto reactor = std::make_unique<WriterReactorGeneric<T>>(publisher, this->shared_from_this());
    // The node is allocated first: once the publisher knows the stream, nothing may fail.
    std::list node{reactor.get()};
    publisher->Add(reactor.get());
    reactors.splice(reactors.end(), node);
    return reactor.release();
  }

 private:
  std::list<WriterReactorGeneric<T>*> reactors;  // guarded by mutex
  std::mutex mutex;
  bool closing = false;  // guarded by mutex; never reset
};

}  // namespace corvalux::grpc
