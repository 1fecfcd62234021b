#include "monitor/stream/Subscription.h"

#include <grpcpp/completion_queue.h>
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/support/byte_buffer.h>

#include <utility>

#include "monitor/values/Decode.h"

namespace monitor {

namespace {

std::string bytesOf(const ::grpc::ByteBuffer& buffer) {
  std::vector<::grpc::Slice> slices;
  std::string bytes;
  if (!buffer.Dump(&slices).ok()) return bytes;
  for (const ::grpc::Slice& slice : slices) bytes.append(reinterpret_cast<const char*>(slice.begin()), slice.size());
  return bytes;
}

Message messageOf(Stream stream, const ::grpc::ByteBuffer& buffer) {
  Message message;
  message.stream = stream;
  message.arrival = {std::chrono::system_clock::now(), std::chrono::steady_clock::now()};
  message.bytes = bytesOf(buffer);
  auto entries = decode(stream, message.bytes);
  message.valid = entries.has_value();
  if (entries) message.entries = std::move(*entries);
  return message;
}

}  // namespace

Subscription::Subscription(std::shared_ptr<::grpc::Channel> channel, Stream stream, Listener& listener,
                           WhenEnded whenEnded)
    : channel(std::move(channel)), stream(stream), listener(listener), whenEnded(std::move(whenEnded)) {
  thread = std::thread([this] { Run(); });
}

Subscription::~Subscription() {
  Cancel();
  thread.join();
}

void Subscription::Run() {
  ::grpc::GenericStub stub(channel);
  ::grpc::CompletionQueue queue;
  const auto done = [&queue] {
    void* tag = nullptr;
    bool ok = false;
    return queue.Next(&tag, &ok) && ok;
  };
  const auto call = stub.PrepareCall(&context, methodOf(stream), &queue);
  call->StartCall(nullptr);
  bool open = done();
  if (open) {
    const ::grpc::Slice nothing;
    call->WriteLast(::grpc::ByteBuffer(&nothing, 1), ::grpc::WriteOptions(), nullptr);  // the request, an empty message
    open = done();
  }
  for (::grpc::ByteBuffer buffer; open; buffer.Clear()) {
    call->Read(&buffer, nullptr);
    open = done();
    if (open) listener.Take(messageOf(stream, buffer));
  }
  ::grpc::Status status;
  call->Finish(&status, nullptr);
  done();
  whenEnded(stream, status);
}

}  // namespace monitor
