#include "monitor/stream/Feed.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <random>
#include <utility>

#include "monitor/stream/Channel.h"
#include "monitor/stream/Subscription.h"

namespace monitor {

namespace {

using std::chrono::milliseconds;

constexpr std::chrono::seconds connectTimeout{5};
/// How soon the end is noticed while connecting, which cannot be interrupted.
constexpr milliseconds connectSlice{50};

/// Signals are for the main thread. All threads of the library are made below this one and inherit it.
void blockSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

const char* nameOf(::grpc::StatusCode code) {
  static constexpr std::array names = {
      "OK",        "CANCELLED",      "UNKNOWN",           "INVALID_ARGUMENT",   "DEADLINE_EXCEEDED",
      "NOT_FOUND", "ALREADY_EXISTS", "PERMISSION_DENIED", "RESOURCE_EXHAUSTED", "FAILED_PRECONDITION",
      "ABORTED",   "OUT_OF_RANGE",   "UNIMPLEMENTED",     "INTERNAL",           "UNAVAILABLE",
      "DATA_LOSS", "UNAUTHENTICATED"};
  const auto index = static_cast<std::size_t>(code);
  return index < names.size() ? names.at(index) : "a status without a name";
}

}  // namespace

/// The listener, and what its feed learns from the messages: that the connection is good.
class Feed::Watched : public Listener {
 public:
  explicit Watched(Listener& listener) : listener(listener) {}

  void Take(Message message) override {
    received = true;
    listener.Take(std::move(message));
  }
  void Change(const ConnectionState& state) override { listener.Change(state); }

  bool Received() const { return received; }

 private:
  Listener& listener;
  std::atomic<bool> received = false;
};

std::string describe(const ::grpc::Status& status) {
  const std::string name = nameOf(status.error_code());
  return status.error_message().empty() ? name : name + ": " + status.error_message();
}

Feed::Feed(FeedSettings settings, Listener& listener)
    : settings(std::move(settings)), listener(listener), backoff(std::random_device()()) {
  thread = std::thread([this] { Run(); });
}

Feed::~Feed() {
  {
    const std::lock_guard lock(mutex);
    stopping = true;
  }
  changed.notify_all();
  thread.join();
}

void Feed::Run() {
  blockSignals();
  while (!Stopping()) {
    Tell(ConnectionState::Phase::connecting);
    const std::string reason = Attempt();
    if (Stopping()) return;
    if (!settings.reconnect) return Tell(ConnectionState::Phase::ended, reason);
    const milliseconds delay = backoff.Next();
    Tell(ConnectionState::Phase::waiting, reason, delay);
    Sleep(delay);
  }
}

/// One connection, from its making to its end; why it ended.
std::string Feed::Attempt() {
  connected = false;
  const auto channel = makeChannel(settings.address);
  std::string failure = Connect(channel);
  if (!failure.empty() || Stopping()) return failure;
  connected = everConnected = true;
  Tell(ConnectionState::Phase::connected);
  return Subscribe(channel);
}

/// Why there is no connection; empty when there is, or when it is time to stop.
std::string Feed::Connect(const std::shared_ptr<::grpc::Channel>& channel) {
  const auto deadline = std::chrono::system_clock::now() + connectTimeout;
  auto state = channel->GetState(true);
  while (state != GRPC_CHANNEL_READY && !Stopping()) {
    if (state == GRPC_CHANNEL_TRANSIENT_FAILURE) return whyNotConnected(channel);
    const auto now = std::chrono::system_clock::now();
    if (now >= deadline) return "no answer within " + std::to_string(connectTimeout.count()) + " s";
    channel->WaitForStateChange(state, std::min(now + connectSlice, deadline));
    state = channel->GetState(true);
  }
  return {};
}

/// Reads all streams until the first of them ends; why it did.
std::string Feed::Subscribe(const std::shared_ptr<::grpc::Channel>& channel) {
  ended.reset();
  Watched watched(listener);
  {
    std::vector<std::unique_ptr<Subscription>> subscriptions;
    const auto whenEnded = [this](Stream stream, const ::grpc::Status& status) {
      const std::lock_guard lock(mutex);
      if (!ended) ended = std::string("the server ended the stream '") + nameOf(stream) + "' with " + describe(status);
      changed.notify_all();
    };
    for (const Stream stream : settings.streams) {
      subscriptions.push_back(std::make_unique<Subscription>(channel, stream, watched, whenEnded));
    }
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return stopping || ended; });
    lock.unlock();
    for (const auto& subscription : subscriptions) subscription->Cancel();
  }
  if (watched.Received()) backoff.Reset();
  return ended.value_or("");
}

void Feed::Tell(ConnectionState::Phase phase, std::string reason, milliseconds delay) {
  listener.Change({phase, std::move(reason), delay, connected, everConnected});
}

bool Feed::Stopping() {
  const std::lock_guard lock(mutex);
  return stopping;
}

void Feed::Sleep(milliseconds time) {
  std::unique_lock lock(mutex);
  changed.wait_for(lock, time, [this] { return stopping; });
}

}  // namespace monitor
