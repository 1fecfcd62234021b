#pragma once

#include <grpcpp/channel.h>
#include <grpcpp/client_context.h>
#include <grpcpp/support/status.h>

#include <functional>
#include <memory>
#include <thread>

#include "monitor/stream/Listener.h"

namespace monitor {

/// One call of one stream, on a thread of its own: made, it subscribes; destroyed, it cancels and waits for the end.
/// Reads raw bytes, so that a message that does not parse ends nothing.
class Subscription {
 public:
  /// On this subscription's thread, once, as the last thing; not when it was never started.
  using WhenEnded = std::function<void(Stream stream, const ::grpc::Status& status)>;

  /// `listener` must outlive this.
  Subscription(std::shared_ptr<::grpc::Channel> channel, Stream stream, Listener& listener, WhenEnded whenEnded);
  ~Subscription();
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;

  /// [any thread] The stream ends soon; what has arrived already is still handed over.
  void Cancel() { context.TryCancel(); }

 private:
  void Run();

  std::shared_ptr<::grpc::Channel> channel;
  Stream stream;
  Listener& listener;
  WhenEnded whenEnded;
  ::grpc::ClientContext context;
  std::thread thread;
};

}  // namespace monitor
