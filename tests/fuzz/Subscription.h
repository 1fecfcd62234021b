#pragma once

#include <memory>

#include "fuzz/Check.h"
#include "fuzz/RecordedStream.h"
#include "module/grpc/PublisherGeneric.h"
#include "module/grpc/ReactorOwnerGeneric.h"
#include "module/grpc/WriterReactorGeneric.h"

namespace fuzz {

/// A service reduced to what a stream needs of it.
template <typename T>
class Owner : public corvalux::grpc::ReactorOwnerGeneric<T> {
 public:
  using corvalux::grpc::ReactorOwnerGeneric<T>::CreateStream;
};

/// A stream subscribed to a publisher, with a mocked network that takes every message at once.
template <typename T>
class Subscription {
 public:
  explicit Subscription(corvalux::grpc::PublisherGeneric<T>& publisher) : reactor(owner->CreateStream(&publisher)) {
    stream.Bind(reactor);
  }

  ~Subscription() {
    reactor->OnCancel();
    reactor->OnDone();
    FUZZ_CHECK(owner->Empty());
  }

  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;

  /// The one message that was published since the last call.
  std::string TakeMessage() {
    FUZZ_CHECK(stream.writes.size() == 1);
    const std::string bytes = stream.writes.front().bytes;
    stream.writes.clear();
    reactor->OnWriteDone(true);
    return bytes;
  }

 private:
  std::shared_ptr<Owner<T>> owner = std::make_shared<Owner<T>>();
  RecordedStream stream;
  corvalux::grpc::WriterReactorGeneric<T>* reactor;
};

}  // namespace fuzz
