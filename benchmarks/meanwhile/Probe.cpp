#include "meanwhile/Probe.h"

#include <grpcpp/create_channel.h>
#include <grpcpp/security/credentials.h>

#include <stdexcept>
#include <utility>

namespace bench {

namespace {

std::shared_ptr<::grpc::Channel> connect(uint16_t port) {
  ::grpc::ChannelArguments arguments;
  arguments.SetInt("grpc.use_local_subchannel_pool", 1);
  return ::grpc::CreateCustomChannel("127.0.0.1:" + std::to_string(port), ::grpc::InsecureChannelCredentials(),
                                     arguments);
}

}  // namespace

Probe::Probe(uint16_t port) : stub(connect(port)) {}

Probe::~Probe() {
  queue.Shutdown();
  void* tag = nullptr;
  for (bool ok = false; queue.Next(&tag, &ok);) {
  }
}

void Probe::Await() {
  void* tag = nullptr;
  bool ok = false;
  if (!queue.Next(&tag, &ok)) throw std::runtime_error("the probe's queue is closed");
}

void Probe::Call() {
  ::grpc::ClientContext once;
  ::grpc::Status status;
  const auto call = stub.PrepareUnaryCall(&once, "/nobody/Knows", {}, &queue);
  call->StartCall();
  call->Finish(&message, &status, nullptr);
  Await();
  if (status.error_code() != ::grpc::UNIMPLEMENTED) throw std::runtime_error(status.error_message());
}

void Probe::Open(const std::string& method) {
  context = std::make_unique<::grpc::ClientContext>();
  stream = stub.PrepareCall(context.get(), method, &queue);
  stream->StartCall(nullptr);
  Await();
  stream->Write({}, nullptr);
  Await();
}

bool Probe::Read(std::chrono::milliseconds limit) {
  if (!std::exchange(reading, true)) stream->Read(&message, nullptr);
  void* tag = nullptr;
  bool ok = false;
  reading = queue.AsyncNext(&tag, &ok, std::chrono::system_clock::now() + limit) == ::grpc::CompletionQueue::TIMEOUT;
  return !reading;
}

void Probe::Close() {
  ::grpc::Status status;
  stream->Finish(&status, nullptr);
  Await();
  stream.reset();
}

}  // namespace bench
