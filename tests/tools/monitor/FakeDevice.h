#pragma once

#include <grpcpp/server.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "corvalux/grpc/streams.grpc.pb.h"
#include "monitor/stream/Stream.h"

namespace test {

/// A device on the network, as the monitor sees it. Sends what it is told to each client of a stream, in order.
/// Threads: its functions may be called on any thread.
class FakeDevice {
 public:
  explicit FakeDevice(const std::string& address);
  ~FakeDevice();
  FakeDevice(const FakeDevice&) = delete;
  FakeDevice& operator=(const FakeDevice&) = delete;

  /// To clients that subscribe later too, which get all from the first on.
  void Send(monitor::Stream stream, std::vector<::corvalux::grpc::KeyValue> entries);
  /// A float under a key.
  void SendLevel(monitor::Stream stream, const std::string& key, float level);
  /// Ends all open streams, and those that come later at once.
  void End(const ::grpc::Status& status);
  /// From here on new streams stay open again.
  void Reopen();

 private:
  class MetersService;
  class NotificationsService;

  template <typename Message>
  ::grpc::Status Serve(monitor::Stream stream, ::grpc::ServerContext& context, ::grpc::ServerWriter<Message>& writer);

  std::mutex mutex;
  std::condition_variable changed;
  std::array<std::vector<std::vector<::corvalux::grpc::KeyValue>>, 3> messages;  // guarded by mutex
  std::optional<::grpc::Status> end;                                             // guarded by mutex
  std::unique_ptr<MetersService> meters;
  std::unique_ptr<NotificationsService> notifications;
  std::unique_ptr<::grpc::Server> server;
};

::corvalux::grpc::KeyValue keyValue(const std::string& key);

}  // namespace test
