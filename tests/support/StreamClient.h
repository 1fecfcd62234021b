#pragma once

#include <grpcpp/channel.h>
#include <grpcpp/client_context.h>
#include <grpcpp/support/byte_buffer.h>
#include <grpcpp/support/status.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "corvalux/grpc/streams.pb.h"

namespace test {

inline const std::string fastMethod = "/corvalux.grpc.Meters/GetMetersFast";
inline const std::string slowMethod = "/corvalux.grpc.Meters/GetMetersSlow";
inline const std::string changesMethod = "/corvalux.grpc.Notifications/GetNotifications";

/// A channel that shares its connection with no other one.
std::shared_ptr<::grpc::Channel> connect(const std::string& address);

/// A real client of one stream: subscribes in its constructor, collects messages on a thread of its own, cancels in its
/// destructor.
/// Threads: its functions may be called on any thread.
class StreamClient {
 public:
  /// `read` false: subscribes but never reads, so that writes to it get stuck.
  StreamClient(std::shared_ptr<::grpc::Channel> channel, const std::string& method, bool read = true);
  StreamClient(const std::string& address, const std::string& method, bool read = true)
      : StreamClient(connect(address), method, read) {}
  ~StreamClient();
  StreamClient(const StreamClient&) = delete;
  StreamClient& operator=(const StreamClient&) = delete;

  void Cancel();

  /// Waits until `count` messages have come; false when they do not come in time or the stream ends before.
  bool WaitForMessages(std::size_t count);

  std::size_t Count() const;

  /// The bytes of the messages so far.
  std::vector<std::string> Messages() const;

  /// The newest message, parsed. Fails the test when there is none or when it does not parse.
  ::corvalux::grpc::Meter LastMeter() const;
  ::corvalux::grpc::Notification LastNotification() const;

  /// Waits for the end of the stream; nothing when it does not end in time.
  std::optional<::grpc::Status> WaitForStatus();

 private:
  void Run(const std::string& method, bool read);
  void Keep(const ::grpc::ByteBuffer& buffer);

  std::shared_ptr<::grpc::Channel> channel;
  ::grpc::ClientContext context;
  mutable std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> messages;     // guarded by mutex
  std::optional<::grpc::Status> status;  // guarded by mutex
  std::thread thread;
};

/// The bytes of a buffer.
std::string bytesOf(const ::grpc::ByteBuffer& buffer);

/// The first value of a serialised message, which is a counter in the lists that tests emit. A meter and a notification
/// have the same form. Fails the test when the bytes do not parse.
uint32_t counterOf(const std::string& bytes);

}  // namespace test
