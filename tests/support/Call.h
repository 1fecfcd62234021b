#pragma once

#include "module/grpc/WriterReactorGeneric.h"
#include "support/ScriptedStream.h"

namespace test {

/// One client's call: the module's reactor and the library's side of it.
template <typename T>
struct Call {
  explicit Call(corvalux::grpc::WriterReactorGeneric<T>* reactor, bool bind = true)
      : reactor(reactor), stream(reactor, bind) {}

  corvalux::grpc::WriterReactorGeneric<T>* const reactor;  // dead after stream.Done()
  ScriptedStream stream;
};

}  // namespace test
