#pragma once

#include <grpcpp/channel.h>
#include <grpcpp/support/status.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "monitor/stream/Backoff.h"
#include "monitor/stream/Listener.h"

namespace monitor {

struct FeedSettings {
  std::string address;
  std::vector<Stream> streams;
  bool reconnect = true;
};

/// Keeps a listener fed with streams: connects, subscribes, and when any stream ends, starts all of them anew on a new
/// connection; so there is one state to tell, and a device that comes back is noticed by all streams at once.
/// Works on threads of its own from its making to its end; the end cancels the streams and waits for them.
class Feed {
 public:
  /// `listener` must outlive this.
  Feed(FeedSettings settings, Listener& listener);
  ~Feed();
  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;

 private:
  class Watched;

  void Run();
  std::string Attempt();
  std::string Connect(const std::shared_ptr<::grpc::Channel>& channel);
  std::string Subscribe(const std::shared_ptr<::grpc::Channel>& channel);
  void Tell(ConnectionState::Phase phase, std::string reason = {}, std::chrono::milliseconds delay = {});
  bool Stopping();
  void Sleep(std::chrono::milliseconds time);

  const FeedSettings settings;
  Listener& listener;
  Backoff backoff;
  bool connected = false;  ///< in this attempt
  bool everConnected = false;

  std::mutex mutex;
  std::condition_variable changed;
  bool stopping = false;             // guarded by mutex
  std::optional<std::string> ended;  // guarded by mutex; why the first stream of this connection ended
  std::thread thread;
};

/// The status as a sentence's part: "CANCELLED", or "UNAVAILABLE: why".
std::string describe(const ::grpc::Status& status);

}  // namespace monitor
