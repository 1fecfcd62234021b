#pragma once

#include <functional>

#include "module/grpc/PublisherGeneric.h"
#include "module/grpc/ReactorOwnerGeneric.h"
#include "module/grpc/WriterReactorGeneric.h"

namespace test {

/// A service reduced to its streams, which it creates as the real services do.
template <typename T>
class TestOwner final : public corvalux::grpc::ReactorOwnerGeneric<T> {
 public:
  using Base = corvalux::grpc::ReactorOwnerGeneric<T>;
  using Base::CreateStream;

  ~TestOwner() override {
    if (onDestruction) onDestruction();
  }

  void ReactorDone(corvalux::grpc::WriterReactorGeneric<T>* reactor) override {
    if (onReactorDone) onReactorDone(reactor);
    Base::ReactorDone(reactor);
  }

  /// Runs first in each ReactorDone. Set before the first call.
  std::function<void(const corvalux::grpc::WriterReactorGeneric<T>*)> onReactorDone;
  /// Runs when it is destroyed.
  std::function<void()> onDestruction;
};

}  // namespace test
