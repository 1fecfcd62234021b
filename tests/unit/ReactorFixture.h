#pragma once

#include <grpcpp/support/slice.h>

#include <cstdio>
#include <memory>
#include <string>

#include "corvalux/grpc/streams.pb.h"
#include "support/Call.h"
#include "support/TestOwner.h"
#include "unit/LoggedTest.h"

namespace test {

using Buffer = std::shared_ptr<::grpc::ByteBuffer>;

inline Buffer bufferOf(const std::string& bytes) {
  const ::grpc::Slice slice(bytes);
  return std::make_shared<::grpc::ByteBuffer>(&slice, 1);
}

/// One subscribed stream, and the library's side of its call.
class ReactorFixture : public LoggedTest {
 protected:
  using Meter = corvalux::grpc::Meter;
  using Reactor = corvalux::grpc::WriterReactorGeneric<Meter>;

  explicit ReactorFixture(bool keepLatestOnly = true, bool bind = true)
      : reactor(keepLatestOnly ? owner->CreateStream(&publisher) : Backlogged()), stream(reactor, bind) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", static_cast<const void*>(reactor));
    address = text;
  }

  /// Hands a message to the reactor, as a publisher does. The result expires when the message is freed.
  std::weak_ptr<::grpc::ByteBuffer> Write(const std::string& bytes) {
    Buffer buffer = bufferOf(bytes);
    std::weak_ptr<::grpc::ByteBuffer> watch = buffer;
    reactor->Write(std::move(buffer));
    return watch;
  }

  bool Subscribed() const { return publisher.HasSubscribers(); }

  /// The lines with the reactor's address in place of "%p".
  Lines WithAddress(Lines lines) const {
    for (std::string& line : lines) {
      if (const auto at = line.find("%p"); at != std::string::npos) line.replace(at, 2, address);
    }
    return lines;
  }

  corvalux::grpc::PublisherGeneric<Meter> publisher;
  std::shared_ptr<TestOwner<Meter>> owner = std::make_shared<TestOwner<Meter>>();
  Reactor* const reactor;  // dead after stream.Done()
  ScriptedStream stream;
  std::string address;

 private:
  /// A stream that keeps all messages; no service creates one.
  Reactor* Backlogged() {
    auto* backlogged = new Reactor(&publisher, owner, false);
    publisher.Add(backlogged);
    return backlogged;
  }
};

}  // namespace test
