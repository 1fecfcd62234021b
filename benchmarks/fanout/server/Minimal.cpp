#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/support/server_callback.h>
#if __has_include(<grpcpp/impl/proto_utils.h>)
#include <grpcpp/impl/proto_utils.h>
#else
#include <grpcpp/impl/codegen/proto_utils.h>
#endif

#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "fanout/server/GrpcServer.h"
#include "fanout/server/Refill.h"

namespace bench {

namespace {

using Buffer = std::shared_ptr<::grpc::ByteBuffer>;

class Service;

class Stream final : public ::grpc::ServerGenericBidiReactor {
 public:
  explicit Stream(Service& service) : service(service) {}

  void Write(Buffer buffer) {
    const std::lock_guard lock(mutex);
    if (inFlight) {
      pending = std::move(buffer);
    } else {
      inFlight = std::move(buffer);
      StartWrite(inFlight.get());
    }
  }

  void OnWriteDone(bool ok) override {
    const std::lock_guard lock(mutex);
    inFlight = std::move(pending);
    if (ok && inFlight) StartWrite(inFlight.get());
  }

  void OnCancel() override;
  void OnDone() override { delete this; }

 private:
  Service& service;
  std::mutex mutex;
  Buffer inFlight;
  Buffer pending;
};

class Service final : public ::grpc::CallbackGenericService {
 public:
  ::grpc::ServerGenericBidiReactor* CreateReactor(::grpc::GenericCallbackServerContext* /*context*/) override {
    const std::lock_guard lock(mutex);
    return streams.emplace_back(new Stream(*this));
  }

  void Remove(Stream* stream) {
    const std::lock_guard lock(mutex);
    std::erase(streams, stream);
  }

  void Publish(const corvalux::grpc::Meter& message) {
    auto buffer = std::make_shared<::grpc::ByteBuffer>();
    bool ownBuffer = false;
    if (!::grpc::SerializationTraits<corvalux::grpc::Meter>::Serialize(message, buffer.get(), &ownBuffer).ok()) {
      throw std::runtime_error("the message cannot be serialised");
    }
    const std::lock_guard lock(mutex);
    for (Stream* stream : streams) stream->Write(buffer);
  }

 private:
  std::mutex mutex;
  std::vector<Stream*> streams;  // guarded by mutex
};

void Stream::OnCancel() {
  service.Remove(this);
  Finish(::grpc::Status::CANCELLED);
}

class MinimalSubject final : public Subject {
 public:
  MinimalSubject(sim::Engine& engine, uint16_t port)
      : server(startGrpcServer(port, [this](auto& builder) { builder.RegisterCallbackGenericService(&service); })) {
    hearMeters(
        engine, [](KeyValueList list, void* user) { static_cast<MinimalSubject*>(user)->Hear(list); }, this);
  }

 private:
  void Hear(KeyValueList list) {
    refill(list, message);
    service.Publish(message);
  }

  corvalux::grpc::Meter message;
  Service service;
  std::unique_ptr<::grpc::Server> server;
};

}  // namespace

std::unique_ptr<Subject> startMinimal(sim::Engine& engine, uint16_t port) {
  return std::make_unique<MinimalSubject>(engine, port);
}

}  // namespace bench
