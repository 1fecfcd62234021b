#pragma once

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/server.h>

#include <array>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "client/Stream.h"
#include "corvalux/grpc/streams.pb.h"

namespace test {

/// A device on the network, as a client sees it. Sends every message to each client of its stream, in order.
/// Threads: its functions may be called on any thread.
class FakeDevice {
 public:
  using Stream = ::corvalux::client::Stream;

  explicit FakeDevice(const std::string& address);
  ~FakeDevice();
  FakeDevice(const FakeDevice&) = delete;
  FakeDevice& operator=(const FakeDevice&) = delete;

  /// Also to clients that subscribe later: they get all messages from the first on.
  void Send(Stream stream, const std::vector<::corvalux::grpc::KeyValue>& entries);
  /// A float under a key.
  void SendLevel(Stream stream, const std::string& key, float level);
  /// A message of any bytes.
  void SendBytes(Stream stream, std::string bytes);
  /// From now on calls of this stream are UNIMPLEMENTED.
  void Refuse(Stream stream);
  /// Ends all open streams, and later ones at once.
  void End(const ::grpc::Status& status);
  /// From now on new streams stay open again.
  void Reopen();

 private:
  class Service;
  class Call;

  std::mutex mutex;
  std::array<std::vector<std::string>, 3> messages;  // guarded by mutex
  std::optional<::grpc::Status> end;                 // guarded by mutex
  std::optional<Stream> refused;                     // guarded by mutex
  std::set<Call*> calls;                             // guarded by mutex
  std::unique_ptr<Service> service;
  std::unique_ptr<::grpc::Server> server;
};

::corvalux::grpc::KeyValue keyValue(const std::string& key);

}  // namespace test
