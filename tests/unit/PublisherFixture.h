#pragma once

#include <memory>

#include "support/Call.h"
#include "support/TestOwner.h"
#include "unit/LoggedTest.h"
#include "unit/Probe.h"

namespace test {

/// A publisher, and clients that subscribe to it.
template <typename T>
class PublisherFixture : public LoggedTest {
 protected:
  using Stream = corvalux::grpc::WriterReactorGeneric<T>;

  /// A subscribed stream; make it a Call, which ends it.
  Stream* Subscribe() { return owner->CreateStream(&publisher); }
  /// A stream that the publisher does not know.
  Stream* Stranger() { return new Stream(&publisher, owner); }

  corvalux::grpc::PublisherGeneric<T> publisher;
  std::shared_ptr<TestOwner<T>> owner = std::make_shared<TestOwner<T>>();
};

}  // namespace test
