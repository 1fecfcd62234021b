#include <mutex>
#include <optional>
#include <vector>

#include "corvalux/grpc/streams.grpc.pb.h"
#include "fanout/server/GrpcServer.h"
#include "fanout/server/Refill.h"

namespace bench {

namespace {

using corvalux::grpc::Meter;

class Service;

class Stream final : public ::grpc::ServerWriteReactor<Meter> {
 public:
  explicit Stream(Service& service) : service(service) {}

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

  void OnCancel() override;
  void OnDone() override { delete this; }

 private:
  Service& service;
  std::mutex mutex;
  bool writing = false;
  std::optional<Meter> pending;
};

class Service final : public corvalux::grpc::Meters::CallbackService {
 public:
  ::grpc::ServerWriteReactor<Meter>* GetMetersFast(::grpc::CallbackServerContext* /*context*/,
                                                   const corvalux::grpc::SubscribeRequest* /*request*/) override {
    const std::lock_guard lock(mutex);
    return streams.emplace_back(new Stream(*this));
  }

  void Remove(Stream* stream) {
    const std::lock_guard lock(mutex);
    std::erase(streams, stream);
  }

  void Publish(const Meter& message) {
    const std::lock_guard lock(mutex);
    for (Stream* stream : streams) stream->Write(message);
  }

 private:
  std::mutex mutex;
  std::vector<Stream*> streams;  // guarded by mutex
};

void Stream::OnCancel() {
  service.Remove(this);
  Finish(::grpc::Status::CANCELLED);
}

class OrdinarySubject final : public Subject {
 public:
  OrdinarySubject(sim::Engine& engine, uint16_t port)
      : server(startGrpcServer(port, [this](auto& builder) { builder.RegisterService(&service); })) {
    hearMeters(
        engine, [](KeyValueList list, void* user) { static_cast<OrdinarySubject*>(user)->Hear(list); }, this);
  }

 private:
  void Hear(KeyValueList list) {
    refill(list, message);
    service.Publish(message);
  }

  Meter message;
  Service service;
  std::unique_ptr<::grpc::Server> server;
};

}  // namespace

std::unique_ptr<Subject> startOrdinary(sim::Engine& engine, uint16_t port) {
  return std::make_unique<OrdinarySubject>(engine, port);
}

}  // namespace bench
