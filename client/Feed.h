#pragma once

#include <grpcpp/channel.h>
#include <grpcpp/support/status.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "client/Backoff.h"
#include "client/Channel.h"
#include "client/Listener.h"
#include "client/StreamReader.h"
#include "client/Timer.h"

namespace corvalux::client {

struct FeedSettings {
  std::string address;
  std::vector<Stream> streams;  ///< at least one
  bool reconnect = true;
  std::chrono::milliseconds connectTimeout{5'000};
  Keepalive keepalive = {};
  std::size_t messageBytes = 4UL << 20;  ///< a larger message ends its stream
};

/// Delivers the streams of one device to a listener: connects, subscribes, and when any stream ends, restarts all of
/// them on a new connection. So there is one state to report, and all streams return together.
/// Threads: has none of its own; works on gRPC's, however many feeds there are. Create and destroy it on any thread but
/// those: the destructor cancels the streams and waits until gRPC has returned from its last call into feed and
/// listener. Signals are blocked on the threads that gRPC creates for a feed.
class Feed final : private StreamReader::Owner {
 public:
  /// `listener` must outlive this.
  Feed(FeedSettings settings, Listener& listener);
  ~Feed() override;
  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;

 private:
  using Milliseconds = std::chrono::milliseconds;

  void Connect();
  void GiveUp(uint64_t attempt);
  void OnConnected() override;
  void OnStreamEnded(Stream stream, const ::grpc::Status& status, bool received) override;

  // With the mutex held:
  void SetConnected();
  void End(const std::string& why);
  void Disconnect();
  void Report(ConnectionState::Phase phase, Milliseconds delay = {});

  const FeedSettings settings;
  Listener& listener;

  std::mutex mutex;  // guards all below but the timer
  std::condition_variable changed;
  Backoff backoff;
  bool stopping = false;
  bool everConnected = false;
  // Of this attempt:
  uint64_t attempt = 0;
  bool connected = false;
  bool received = false;
  std::string reason;  ///< why it ends; the first cause is kept
  std::shared_ptr<::grpc::Channel> channel;
  std::vector<std::unique_ptr<StreamReader>> readers;
  std::size_t open = 0;  ///< readers whose calls are not over

  Timer timer;  ///< last, so destroyed first; for the next attempt, or the timeout of this one
};

/// The status as part of a sentence: "CANCELLED", or "UNAVAILABLE: why".
std::string describe(const ::grpc::Status& status);

}  // namespace corvalux::client
