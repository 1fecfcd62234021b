#include "support/FakeDevice.h"

#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server_builder.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

namespace test {

/// One client's stream. All functions but the reactions need the device's mutex.
class FakeDevice::Call : public ::grpc::ServerGenericBidiReactor {
 public:
  Call(FakeDevice& device, Stream stream) : device(device), stream(stream) {}

  /// Sends the next message, if there is one, or ends.
  void GoOn() {
    if (finished || writing) return;
    const auto& list = device.messages.at(indexOf(stream));
    if (device.end) return End(*device.end);
    if (next == list.size()) return;
    const ::grpc::Slice slice(list[next++]);
    buffer = ::grpc::ByteBuffer(&slice, 1);
    writing = true;
    StartWrite(&buffer);
  }

  void End(const ::grpc::Status& status) {
    if (!std::exchange(finished, true)) Finish(status);
  }

 private:
  void OnWriteDone(bool ok) override {
    const std::lock_guard lock(device.mutex);
    writing = false;
    ok ? GoOn() : End(::grpc::Status::CANCELLED);
  }
  void OnCancel() override {
    const std::lock_guard lock(device.mutex);
    End(::grpc::Status::CANCELLED);
  }
  void OnDone() override {
    {
      const std::lock_guard lock(device.mutex);
      device.calls.erase(this);
    }
    delete this;
  }

  FakeDevice& device;
  const Stream stream;
  std::size_t next = 0;
  ::grpc::ByteBuffer buffer;
  bool writing = false;
  bool finished = false;
};

class FakeDevice::Service : public ::grpc::CallbackGenericService {
 public:
  explicit Service(FakeDevice& device) : device(device) {}

  ::grpc::ServerGenericBidiReactor* CreateReactor(::grpc::GenericCallbackServerContext* context) override {
    const auto& streams = ::corvalux::client::allStreams;
    const auto* stream = std::find_if(streams.begin(), streams.end(),
                                      [&](Stream candidate) { return context->method() == methodOf(candidate); });
    const std::lock_guard lock(device.mutex);
    if (stream == streams.end() || device.refused == *stream) {
      return ::grpc::CallbackGenericService::CreateReactor(context);
    }
    auto* call = new Call(device, *stream);
    device.calls.insert(call);
    call->GoOn();
    return call;
  }

 private:
  FakeDevice& device;
};

FakeDevice::FakeDevice(const std::string& address) : service(std::make_unique<Service>(*this)) {
  ::grpc::ServerBuilder builder;
  builder.AddListeningPort(address, ::grpc::InsecureServerCredentials());
  builder.RegisterCallbackGenericService(service.get());
  server = builder.BuildAndStart();
  if (!server) throw std::runtime_error("cannot listen on " + address);
}

FakeDevice::~FakeDevice() {
  End(::grpc::Status::CANCELLED);
  server->Shutdown(std::chrono::system_clock::now());
  server->Wait();
  const std::lock_guard lock(mutex);  // after the last call, also for a sanitizer that does not see into the library
}

void FakeDevice::Send(Stream stream, const std::vector<::corvalux::grpc::KeyValue>& entries) {
  ::corvalux::grpc::Meter message;
  for (const auto& entry : entries) *message.add_entries() = entry;
  SendBytes(stream, message.SerializeAsString());
}

void FakeDevice::SendLevel(Stream stream, const std::string& key, float level) {
  auto entry = keyValue(key);
  entry.mutable_value()->set_float_value(level);
  Send(stream, {entry});
}

void FakeDevice::SendBytes(Stream stream, std::string bytes) {
  const std::lock_guard lock(mutex);
  messages.at(indexOf(stream)).push_back(std::move(bytes));
  for (Call* call : calls) call->GoOn();
}

void FakeDevice::Refuse(Stream stream) {
  const std::lock_guard lock(mutex);
  refused = stream;
}

void FakeDevice::End(const ::grpc::Status& status) {
  const std::lock_guard lock(mutex);
  end = status;
  for (Call* call : calls) call->GoOn();
}

void FakeDevice::Reopen() {
  const std::lock_guard lock(mutex);
  end.reset();
}

::corvalux::grpc::KeyValue keyValue(const std::string& key) {
  ::corvalux::grpc::KeyValue entry;
  entry.set_key(key);
  entry.mutable_value();
  return entry;
}

}  // namespace test
