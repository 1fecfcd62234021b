#include "client/StreamReader.h"

#include <grpcpp/generic/generic_stub.h>

#include <utility>
#include <vector>

#include "client/Decode.h"

namespace corvalux::client {

namespace {

::grpc::ByteBuffer emptyMessage() {
  const ::grpc::Slice nothing;
  return {&nothing, 1};
}

std::string bytesOf(const ::grpc::ByteBuffer& buffer) {
  std::vector<::grpc::Slice> slices;
  std::string bytes;
  if (!buffer.Dump(&slices).ok()) return bytes;
  bytes.reserve(buffer.Length());
  for (const ::grpc::Slice& slice : slices) bytes.append(reinterpret_cast<const char*>(slice.begin()), slice.size());
  return bytes;
}

}  // namespace

StreamReader::StreamReader(std::shared_ptr<::grpc::Channel> channel, Stream stream, Listener& listener, Owner& owner)
    : channel(std::move(channel)), stream(stream), listener(listener), owner(owner), request(emptyMessage()) {}

void StreamReader::Start() {
  received = false;  // also publishes the setup to the threads of the reactions
  ::grpc::GenericStub(channel).PrepareBidiStreamingCall(&context, methodOf(stream), {}, this);
  StartRead(&buffer);
  StartWriteLast(&request, {});
  StartCall();
}

/// The request is sent only once there is a connection.
void StreamReader::OnWriteDone(bool ok) {
  if (ok && !received) owner.OnConnected();
}

void StreamReader::OnReadDone(bool ok) {
  if (!ok) return;
  if (!received.exchange(true)) owner.OnConnected();
  const Arrival now{std::chrono::system_clock::now(), std::chrono::steady_clock::now()};
  listener.Take(messageOf(stream, now, bytesOf(buffer)));
  buffer.Clear();
  StartRead(&buffer);
}

void StreamReader::OnDone(const ::grpc::Status& status) { owner.OnStreamEnded(stream, status, received); }

}  // namespace corvalux::client
