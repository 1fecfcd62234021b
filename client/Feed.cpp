#include "client/Feed.h"

#include <array>
#include <cstdio>
#include <random>
#include <utility>

#include "client/BlockedSignals.h"

namespace corvalux::client {

namespace {

const char* nameOf(::grpc::StatusCode code) {
  static constexpr std::array names = {
      "OK",        "CANCELLED",      "UNKNOWN",           "INVALID_ARGUMENT",   "DEADLINE_EXCEEDED",
      "NOT_FOUND", "ALREADY_EXISTS", "PERMISSION_DENIED", "RESOURCE_EXHAUSTED", "FAILED_PRECONDITION",
      "ABORTED",   "OUT_OF_RANGE",   "UNIMPLEMENTED",     "INTERNAL",           "UNAVAILABLE",
      "DATA_LOSS", "UNAUTHENTICATED"};
  const auto index = static_cast<std::size_t>(code);
  return index < names.size() ? names.at(index) : "a status without a name";
}

std::string secondsText(std::chrono::milliseconds time) {
  std::array<char, 32> text;
  std::snprintf(text.data(), text.size(), "%g s", static_cast<double>(time.count()) / 1000);
  return text.data();
}

}  // namespace

std::string describe(const ::grpc::Status& status) {
  const std::string name = nameOf(status.error_code());
  return status.error_message().empty() ? name : name + ": " + status.error_message();
}

Feed::Feed(FeedSettings settings, Listener& listener)
    : settings(std::move(settings)), listener(listener), backoff(std::random_device()()) {
  const BlockedSignals blocked;
  // Even the first attempt runs on gRPC's threads: the listener is called on no others.
  timer.Start(Milliseconds(0), [this] { Connect(); });
}

Feed::~Feed() {
  timer.Cancel();
  std::unique_lock lock(mutex);
  stopping = true;
  for (const auto& reader : readers) reader->Cancel();
  changed.wait(lock, [this] { return open == 0; });
}

/// One connection for all streams.
void Feed::Connect() {
  const std::lock_guard lock(mutex);
  if (stopping) return;
  ++attempt;
  connected = received = false;
  reason.clear();
  Report(ConnectionState::Phase::connecting);
  channel = makeChannel(settings.address, settings.keepalive, settings.messageBytes);
  Owner& owner = *this;
  for (const Stream stream : settings.streams) {
    readers.push_back(std::make_unique<StreamReader>(channel, stream, listener, owner));
  }
  open = readers.size();
  for (const auto& reader : readers) reader->Start();
  timer.Start(settings.connectTimeout, [this, number = attempt] { GiveUp(number); });
}

void Feed::GiveUp(uint64_t number) {
  const std::lock_guard lock(mutex);
  if (number == attempt && !connected) End("no answer within " + secondsText(settings.connectTimeout));
}

void Feed::OnConnected() {
  const std::lock_guard lock(mutex);
  SetConnected();
}

void Feed::SetConnected() {
  // Too late if the connection is being dropped.
  if (connected || stopping || !reason.empty()) return;
  connected = everConnected = true;
  timer.Cancel();
  Report(ConnectionState::Phase::connected);
}

void Feed::OnStreamEnded(Stream stream, const ::grpc::Status& status, bool streamReceived) {
  const std::lock_guard lock(mutex);
  received = received || streamReceived;
  // A call that is refused at once may end before its request is sent.
  if (channel->GetState(false) == GRPC_CHANNEL_READY) SetConnected();
  End(connected ? std::string("the server ended the stream '") + client::nameOf(stream) + "' with " + describe(status)
                : status.error_message());
  if (--open == 0) Disconnect();
}

/// The streams of a connection end together.
void Feed::End(const std::string& why) {
  if (!reason.empty()) return;
  reason = why.empty() ? "no reason given" : why;
  for (const auto& reader : readers) reader->Cancel();
}

/// Called after the last reader's call has ended: drops the connection and schedules the next attempt.
void Feed::Disconnect() {
  readers.clear();
  channel.reset();
  timer.Cancel();
  changed.notify_all();
  if (stopping) return;
  if (received) backoff.Reset();
  if (!settings.reconnect) return Report(ConnectionState::Phase::ended);
  const Milliseconds delay = backoff.Next();
  Report(ConnectionState::Phase::waiting, delay);
  timer.Start(delay, [this] { Connect(); });
}

void Feed::Report(ConnectionState::Phase phase, Milliseconds delay) {
  listener.Change({phase, reason, delay, connected, everConnected});
}

}  // namespace corvalux::client
