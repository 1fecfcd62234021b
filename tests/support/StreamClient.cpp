#include "support/StreamClient.h"

#include <grpcpp/completion_queue.h>
#include <grpcpp/create_channel.h>
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/security/credentials.h>
#include <gtest/gtest.h>

#include <utility>

#include "support/Deadline.h"

namespace test {

std::string bytesOf(const ::grpc::ByteBuffer& buffer) {
  std::vector<::grpc::Slice> slices;
  std::string bytes;
  if (!buffer.Dump(&slices).ok()) return bytes;
  for (const ::grpc::Slice& slice : slices) bytes.append(reinterpret_cast<const char*>(slice.begin()), slice.size());
  return bytes;
}

uint32_t counterOf(const std::string& bytes) {
  ::corvalux::grpc::Meter meter;
  EXPECT_TRUE(meter.ParseFromString(bytes));
  return meter.entries_size() > 0 ? meter.entries(0).value().uint_value() : 0;
}

std::shared_ptr<::grpc::Channel> connect(const std::string& address) {
  ::grpc::ChannelArguments arguments;
  arguments.SetInt("grpc.use_local_subchannel_pool", 1);
  arguments.SetInt("grpc.http2.bdp_probe", 0);  // the window must not grow: a stalled client is to stay stalled
  return ::grpc::CreateCustomChannel(address, ::grpc::InsecureChannelCredentials(), arguments);
}

StreamClient::StreamClient(std::shared_ptr<::grpc::Channel> channel, const std::string& method, bool read)
    : channel(std::move(channel)), thread([this, method, read] { Run(method, read); }) {}

StreamClient::~StreamClient() {
  Cancel();
  thread.join();
}

void StreamClient::Cancel() { context.TryCancel(); }

void StreamClient::Run(const std::string& method, bool read) {
  ::grpc::GenericStub stub(channel);
  ::grpc::CompletionQueue queue;
  context.set_wait_for_ready(true);
  const auto next = [&queue] {
    void* tag = nullptr;
    bool ok = false;
    return queue.Next(&tag, &ok) && ok;
  };
  const auto call = stub.PrepareCall(&context, method, &queue);
  call->StartCall(nullptr);
  bool open = next();
  if (open) {
    call->WritesDone(nullptr);
    open = next();
  }
  for (::grpc::ByteBuffer buffer; open && read; buffer.Clear()) {
    call->Read(&buffer, nullptr);
    open = next();
    if (open) Keep(buffer);
  }
  ::grpc::Status end;
  call->Finish(&end, nullptr);
  next();
  const std::lock_guard lock(mutex);
  status = end;
  changed.notify_all();
}

void StreamClient::Keep(const ::grpc::ByteBuffer& buffer) {
  const std::lock_guard lock(mutex);
  messages.push_back(bytesOf(buffer));
  changed.notify_all();
}

bool StreamClient::WaitForMessages(std::size_t count) {
  std::unique_lock lock(mutex);
  changed.wait_for(lock, patience, [&] { return messages.size() >= count || status; });
  return messages.size() >= count;
}

std::size_t StreamClient::Count() const {
  const std::lock_guard lock(mutex);
  return messages.size();
}

std::vector<std::string> StreamClient::Messages() const {
  const std::lock_guard lock(mutex);
  return messages;
}

namespace {

template <typename T>
T parseLast(const std::vector<std::string>& messages) {
  T message;
  if (messages.empty()) {
    ADD_FAILURE() << "no message has come";
  } else if (!message.ParseFromString(messages.back())) {
    ADD_FAILURE() << "the message does not parse";
  }
  return message;
}

}  // namespace

::corvalux::grpc::Meter StreamClient::LastMeter() const { return parseLast<::corvalux::grpc::Meter>(Messages()); }

::corvalux::grpc::Notification StreamClient::LastNotification() const {
  return parseLast<::corvalux::grpc::Notification>(Messages());
}

std::optional<::grpc::Status> StreamClient::WaitForStatus() {
  std::unique_lock lock(mutex);
  changed.wait_for(lock, patience, [&] { return status.has_value(); });
  return status;
}

}  // namespace test
