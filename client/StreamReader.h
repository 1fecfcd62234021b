#pragma once

#include <grpcpp/channel.h>
#include <grpcpp/client_context.h>
#include <grpcpp/support/byte_buffer.h>
#include <grpcpp/support/client_callback.h>
#include <grpcpp/support/status.h>

#include <atomic>
#include <memory>

#include "client/Listener.h"

namespace corvalux::client {

/// One call of one stream. Reads raw bytes, so that a message that does not parse does not end the stream.
/// Threads: reactions come on gRPC's threads. Ownership: channel, listener and owner must outlive it; destroy it only
/// before Start, or in OnStreamEnded and after.
class StreamReader final : private ::grpc::ClientBidiReactor<::grpc::ByteBuffer, ::grpc::ByteBuffer> {
 public:
  /// Receives the events of a call.
  class Owner {
   public:
    virtual ~Owner() = default;
    /// There is a connection. May be called more than once, always before the first message.
    virtual void OnConnected() = 0;
    /// The call is over. The reader's last action; it may be destroyed here.
    virtual void OnStreamEnded(Stream stream, const ::grpc::Status& status, bool received) = 0;
  };

  StreamReader(std::shared_ptr<::grpc::Channel> channel, Stream stream, Listener& listener, Owner& owner);

  /// Call it once.
  void Start();
  /// [any thread] Ends the call soon; what has arrived already may still be delivered.
  void Cancel() { context.TryCancel(); }

 private:
  void OnWriteDone(bool ok) override;
  void OnReadDone(bool ok) override;
  void OnDone(const ::grpc::Status& status) override;

  const std::shared_ptr<::grpc::Channel> channel;
  const Stream stream;
  Listener& listener;
  Owner& owner;
  const ::grpc::ByteBuffer request;
  ::grpc::ByteBuffer buffer;
  std::atomic<bool> received = false;  ///< atomic: reactions to the write and to reads may overlap
  ::grpc::ClientContext context;
};

}  // namespace corvalux::client
