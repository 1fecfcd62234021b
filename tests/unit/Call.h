#pragma once

#include <functional>
#include <memory>

#include "module/grpc/PublisherGeneric.h"
#include "module/grpc/ReactorOwnerGeneric.h"
#include "module/grpc/WriterReactorGeneric.h"
#include "unit/ScriptedStream.h"

namespace test {

/// A service reduced to its streams. Its streams are created as those of the real services are.
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

/// One client's call: the module's reactor and the library's side of it.
template <typename T>
struct Call {
  explicit Call(corvalux::grpc::WriterReactorGeneric<T>* reactor, bool bind = true)
      : reactor(reactor), stream(reactor, bind) {}

  corvalux::grpc::WriterReactorGeneric<T>* const reactor;  // dead after stream.Done()
  ScriptedStream stream;
};

}  // namespace test
