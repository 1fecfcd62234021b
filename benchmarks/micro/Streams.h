#pragma once

#include <grpcpp/support/server_callback.h>

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "PublisherGeneric.h"
#include "ReactorOwnerGeneric.h"
#include "WriterReactorGeneric.h"
#include "corvalux/grpc/streams.pb.h"

namespace bench {

using corvalux::grpc::Meter;
using Reactor = corvalux::grpc::WriterReactorGeneric<Meter>;
using Publisher = corvalux::grpc::PublisherGeneric<Meter>;

/// Replaces gRPC's transport: notes that a write was started, and does nothing else.
class MockedStream final : public ::grpc::ServerCallbackReaderWriter<::grpc::ByteBuffer, ::grpc::ByteBuffer> {
 public:
  explicit MockedStream(Reactor* reactor) : bound(reactor) { BindReactor(reactor); }

  /// Completes the write, if one was started. Returns whether one was.
  bool CompleteWrite() {
    if (!std::exchange(writing, false)) return false;
    bound->OnWriteDone(true);
    return true;
  }

  void Finish(::grpc::Status /*status*/) override {}
  void SendInitialMetadata() override {}
  void Read(::grpc::ByteBuffer* /*message*/) override {}
  void Write(const ::grpc::ByteBuffer* /*message*/, ::grpc::WriteOptions /*options*/) override { writing = true; }
  void WriteAndFinish(const ::grpc::ByteBuffer* /*message*/, ::grpc::WriteOptions /*options*/,
                      ::grpc::Status /*status*/) override {}

 private:
  ::grpc::internal::ServerReactor* reactor() override { return bound; }
  void CallOnDone() override {}
  /// Only newer versions of gRPC call it.
  grpc_call* call() { return nullptr; }  // NOLINT(modernize-use-override)

  Reactor* const bound;
  bool writing = false;
};

/// `count` streams subscribed to `publisher`. On one thread only.
class Streams {
 public:
  Streams(Publisher& publisher, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      reactors.push_back(new Reactor(&publisher, owner));
      publisher.Add(reactors.back());
      streams.push_back(std::make_unique<MockedStream>(reactors.back()));
    }
  }

  ~Streams() {
    for (Reactor* reactor : reactors) reactor->FinishAndRemove();
    for (Reactor* reactor : reactors) reactor->OnDone();
  }

  Streams(const Streams&) = delete;
  Streams& operator=(const Streams&) = delete;

  /// Completes all writes, and returns how many there were.
  std::size_t CompleteWrites() {
    std::size_t completed = 0;
    for (const auto& stream : streams) completed += stream->CompleteWrite() ? 1 : 0;
    return completed;
  }

 private:
  std::shared_ptr<corvalux::grpc::ReactorOwnerGeneric<Meter>> owner =
      std::make_shared<corvalux::grpc::ReactorOwnerGeneric<Meter>>();
  std::vector<Reactor*> reactors;
  std::vector<std::unique_ptr<MockedStream>> streams;
};

}  // namespace bench
