#include <mutex>
#include <optional>

#include "corvalux/grpc/streams.grpc.pb.h"
#include "fanout/server/GrpcServer.h"
#include "fanout/server/MeterSubject.h"

namespace bench {

namespace {

using corvalux::grpc::Meter;

class Stream final : public ::grpc::ServerWriteReactor<Meter> {
 public:
  explicit Stream(OpenStreams<Stream>& streams) : streams(streams) {}

  /// The library serialises the message before it returns.
  void Write(const Meter& message) {
    const std::lock_guard lock(mutex);
    if (writing) {
      pending = message;
    } else {
      writing = true;
      StartWrite(&message);
    }
  }

  void OnWriteDone(bool ok) override {
    const std::lock_guard lock(mutex);
    writing = ok && pending;
    if (writing) StartWrite(&*pending);
    pending.reset();
  }

  void OnCancel() override {
    streams.Remove(this);
    Finish(::grpc::Status::CANCELLED);
  }
  void OnDone() override { delete this; }

 private:
  OpenStreams<Stream>& streams;
  std::mutex mutex;
  bool writing = false;
  std::optional<Meter> pending;
};

struct Service final : corvalux::grpc::Meters::CallbackService {
  ::grpc::ServerWriteReactor<Meter>* GetMetersFast(::grpc::CallbackServerContext* /*context*/,
                                                   const corvalux::grpc::SubscribeRequest* /*request*/) override {
    return streams.Open();
  }

  OpenStreams<Stream> streams;
};

class OrdinarySubject final : public MeterSubject {
 public:
  OrdinarySubject(sim::Engine& engine, uint16_t port)
      : MeterSubject(engine),
        server(startGrpcServer(port, [this](auto& builder) { builder.RegisterService(&service); })) {}

 private:
  void Send(const Meter& message) override { service.streams.Write(message); }

  Service service;
  std::unique_ptr<::grpc::Server> server;
};

}  // namespace

std::unique_ptr<Subject> startOrdinary(sim::Engine& engine, uint16_t port) {
  return std::make_unique<OrdinarySubject>(engine, port);
}

}  // namespace bench
