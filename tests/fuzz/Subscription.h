#pragma once

#include <memory>
#include <string>

#include "fuzz/Check.h"
#include "support/Call.h"
#include "support/TestOwner.h"

namespace fuzz {

/// A subscribed client that takes every message at once.
template <typename T>
class Subscription {
 public:
  explicit Subscription(corvalux::grpc::PublisherGeneric<T>& publisher) : call(owner->CreateStream(&publisher)) {}

  ~Subscription() {
    call.stream.Cancel();
    call.stream.Done();
    FUZZ_CHECK(owner->Empty());
  }

  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;

  /// The one message that was published since the last call.
  std::string TakeMessage() {
    FUZZ_CHECK(call.stream.Writing());
    call.stream.CompleteWrite();
    FUZZ_CHECK(!call.stream.Writing());
    return call.stream.LastSent();
  }

 private:
  std::shared_ptr<test::TestOwner<T>> owner = std::make_shared<test::TestOwner<T>>();
  test::Call<T> call;
};

}  // namespace fuzz
