#include "FakeDevice.h"

#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server_builder.h>

#include <chrono>
#include <stdexcept>
#include <utility>

namespace test {

using monitor::Stream;

class FakeDevice::MetersService : public ::corvalux::grpc::Meters::Service {
 public:
  explicit MetersService(FakeDevice& device) : device(device) {}

  ::grpc::Status GetMetersFast(::grpc::ServerContext* context, const ::corvalux::grpc::SubscribeRequest* /*request*/,
                               ::grpc::ServerWriter<::corvalux::grpc::Meter>* writer) override {
    return device.Serve(Stream::fast, *context, *writer);
  }
  ::grpc::Status GetMetersSlow(::grpc::ServerContext* context, const ::corvalux::grpc::SubscribeRequest* /*request*/,
                               ::grpc::ServerWriter<::corvalux::grpc::Meter>* writer) override {
    return device.Serve(Stream::slow, *context, *writer);
  }

 private:
  FakeDevice& device;
};

class FakeDevice::NotificationsService : public ::corvalux::grpc::Notifications::Service {
 public:
  explicit NotificationsService(FakeDevice& device) : device(device) {}

  ::grpc::Status GetNotifications(::grpc::ServerContext* context, const ::corvalux::grpc::SubscribeRequest* /*request*/,
                                  ::grpc::ServerWriter<::corvalux::grpc::Notification>* writer) override {
    return device.Serve(Stream::changes, *context, *writer);
  }

 private:
  FakeDevice& device;
};

FakeDevice::FakeDevice(const std::string& address)
    : meters(std::make_unique<MetersService>(*this)), notifications(std::make_unique<NotificationsService>(*this)) {
  ::grpc::ServerBuilder builder;
  builder.AddListeningPort(address, ::grpc::InsecureServerCredentials());
  builder.RegisterService(meters.get());
  builder.RegisterService(notifications.get());
  server = builder.BuildAndStart();
  if (!server) throw std::runtime_error("cannot listen on " + address);
}

FakeDevice::~FakeDevice() {
  End(::grpc::Status::CANCELLED);
  server->Shutdown(std::chrono::system_clock::now());
  server->Wait();
}

void FakeDevice::Send(Stream stream, std::vector<::corvalux::grpc::KeyValue> entries) {
  const std::lock_guard lock(mutex);
  messages.at(indexOf(stream)).push_back(std::move(entries));
  changed.notify_all();
}

void FakeDevice::SendLevel(Stream stream, const std::string& key, float level) {
  auto entry = keyValue(key);
  entry.mutable_value()->set_float_value(level);
  Send(stream, {entry});
}

void FakeDevice::End(const ::grpc::Status& status) {
  const std::lock_guard lock(mutex);
  end = status;
  changed.notify_all();
}

void FakeDevice::Reopen() {
  const std::lock_guard lock(mutex);
  end.reset();
}

template <typename Message>
::grpc::Status FakeDevice::Serve(Stream stream, ::grpc::ServerContext& context, ::grpc::ServerWriter<Message>& writer) {
  std::unique_lock lock(mutex);
  const auto& list = messages.at(indexOf(stream));
  std::size_t next = 0;
  while (!end && !context.IsCancelled()) {
    if (next == list.size()) {
      // Nothing tells of a client that leaves: so look now and then.
      changed.wait_for(lock, std::chrono::milliseconds(20));
      continue;
    }
    Message message;
    for (const auto& entry : list[next]) *message.add_entries() = entry;
    ++next;
    lock.unlock();
    writer.Write(message);
    lock.lock();
  }
  return end.value_or(::grpc::Status::CANCELLED);
}

::corvalux::grpc::KeyValue keyValue(const std::string& key) {
  ::corvalux::grpc::KeyValue entry;
  entry.set_key(key);
  entry.mutable_value();
  return entry;
}

}  // namespace test
