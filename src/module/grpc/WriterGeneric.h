#pragma once

#include <grpcpp/support/byte_buffer.h>

#include <memory>

namespace corvalux::grpc {

/// A publisher's view of a stream: takes serialised messages.
class WriterGeneric {
 public:
  virtual ~WriterGeneric() = default;

  /// Takes a share of `message` and returns at once: it never waits for the client.
  virtual void Write(std::shared_ptr<::grpc::ByteBuffer> message) = 0;
};

}  // namespace corvalux::grpc
