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

#include "fanout/server/GrpcServer.h"
#include "fanout/server/MeterSubject.h"

namespace bench {

namespace {

using Buffer = std::shared_ptr<::grpc::ByteBuffer>;

class Stream final : public ::grpc::ServerGenericBidiReactor {
 public:
  explicit Stream(OpenStreams<Stream>& streams) : streams(streams) {}

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

  void OnCancel() override {
    streams.Remove(this);
    Finish(::grpc::Status::CANCELLED);
  }
  void OnDone() override { delete this; }

 private:
  OpenStreams<Stream>& streams;
  std::mutex mutex;
  Buffer inFlight;
  Buffer pending;
};

struct Service final : ::grpc::CallbackGenericService {
  ::grpc::ServerGenericBidiReactor* CreateReactor(::grpc::GenericCallbackServerContext* /*context*/) override {
    return streams.Open();
  }

  OpenStreams<Stream> streams;
};

class MinimalSubject final : public MeterSubject {
 public:
  MinimalSubject(sim::Engine& engine, uint16_t port)
      : MeterSubject(engine),
        server(startGrpcServer(port, [this](auto& builder) { builder.RegisterCallbackGenericService(&service); })) {}

 private:
  void Send(const corvalux::grpc::Meter& message) override {
    auto buffer = std::make_shared<::grpc::ByteBuffer>();
    bool ownBuffer = false;
    if (!::grpc::SerializationTraits<corvalux::grpc::Meter>::Serialize(message, buffer.get(), &ownBuffer).ok()) {
      throw std::runtime_error("the message cannot be serialised");
    }
    service.streams.Write(buffer);
  }

  Service service;
  std::unique_ptr<::grpc::Server> server;
};

}  // namespace

std::unique_ptr<Subject> startMinimal(sim::Engine& engine, uint16_t port) {
  return std::make_unique<MinimalSubject>(engine, port);
}

}  // namespace bench
