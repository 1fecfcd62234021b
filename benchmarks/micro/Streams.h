#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "corvalux/grpc/streams.pb.h"
#include "module/grpc/PublisherGeneric.h"
#include "module/grpc/ReactorOwnerGeneric.h"
#include "module/grpc/WriterReactorGeneric.h"
#include "support/StreamMock.h"

namespace bench {

using corvalux::grpc::Meter;
using Reactor = corvalux::grpc::WriterReactorGeneric<Meter>;
using Publisher = corvalux::grpc::PublisherGeneric<Meter>;

/// Only notes that a write was started: what a mock does beyond that would be counted, too.
class CountedStream final : public test::StreamMock {
 public:
  explicit CountedStream(Reactor* reactor) : bound(reactor) { BindReactor(reactor); }

  /// Completes the write, if one was started. Returns whether one was.
  bool CompleteWrite() {
    if (!std::exchange(writing, false)) return false;
    bound->OnWriteDone(true);
    return true;
  }

  void Finish(::grpc::Status /*status*/) override {}
  void Write(const ::grpc::ByteBuffer* /*message*/, ::grpc::WriteOptions /*options*/) override { writing = true; }

 private:
  ::grpc::internal::ServerReactor* reactor() override { return bound; }

  Reactor* const bound;
  bool writing = false;
};

/// `count` streams subscribed to `publisher`; no service lists them. On one thread only.
class Streams {
 public:
  Streams(Publisher& publisher, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      reactors.push_back(new Reactor(&publisher, owner));
      publisher.Add(reactors.back());
      streams.push_back(std::make_unique<CountedStream>(reactors.back()));
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
  std::vector<std::unique_ptr<CountedStream>> streams;
};

}  // namespace bench
