#include "gateway/live/Viewer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <utility>
#include <vector>

#include "client/Json.h"
#include "gateway/http/ThreadTime.h"
#include "gateway/live/Viewers.h"

namespace corvalux::gateway {

namespace {

using client::Stream;

/// Messages in one turn, before others have theirs.
constexpr int mostAtOnce = 16;
/// Messages that wait for a viewer, beside values: it has made that many necessary, and reads none.
constexpr std::size_t outboxLimit = 64;
constexpr std::chrono::seconds pingInterval{5};
constexpr double mostDevices = 5;     ///< messages of devices a second
constexpr double longestPause = 1e6;  ///< seconds between two; more may be no time that a clock has
constexpr double burstSeconds = 2;

constexpr uint16_t normal = 1000;  ///< close codes; those from 4000 on are ours
constexpr uint16_t tryLater = 1013;
constexpr uint16_t overdue = 4000;
constexpr uint16_t badMessage = 4100;
constexpr uint16_t beyondLimit = 4101;

double wallClock() { return client::secondsOf(std::chrono::system_clock::now()); }

std::vector<std::string> textsOf(const google::protobuf::RepeatedPtrField<std::string>& list) {
  return {list.begin(), list.end()};
}

std::optional<std::vector<Stream>> streamsOf(const live::Subscribe& subscribe) {
  std::vector<Stream> streams;
  for (const int number : subscribe.streams()) {
    if (number < live::STREAM_FAST || number > live::STREAM_CHANGES) return std::nullopt;
    const auto stream = static_cast<Stream>(number - 1);
    if (std::find(streams.begin(), streams.end(), stream) != streams.end()) return std::nullopt;
    streams.push_back(stream);
  }
  return streams.empty() ? std::nullopt : std::optional(streams);
}

}  // namespace

Viewer::Viewer(Viewers& all, Handover handover)
    : viewers(all),
      address(handover.address),
      admission(handover.admission),
      place(std::move(handover.place)),
      addressPlace(std::move(handover.addressPlace)),
      socket(std::move(handover), Viewers::protocol, all.limits.messageBytes, *this),
      timer(all.loop) {}

Viewer::~Viewer() = default;

// ---- What it says ----

void Viewer::OnOpen() { open = true; }

void Viewer::OnMessage(std::string_view octets, bool binary) {
  viewers.Guard(*this, [&] {
    if (!MaySpeak(Clock::now())) return Refuse(live::ERROR_CODE_LIMIT, "too many messages");
    live::FromViewer message;
    if (!binary || !message.ParseFromArray(octets.data(), static_cast<int>(octets.size()))) {
      return Refuse(live::ERROR_CODE_BAD_MESSAGE, "not a message of corvalux.v1");
    }
    Take(message);
    if (!message.has_acknowledge()) viewers.Ready(*this);
  });
}

bool Viewer::MaySpeak(Clock::time_point now) {
  const double rate = viewers.limits.messagesPerSecond;
  mayStill = counted == begun ? burstSeconds * rate
                              : std::min(burstSeconds * rate,
                                         mayStill + rate * std::chrono::duration<double>(now - counted).count());
  counted = now;
  return --mayStill >= 0;
}

void Viewer::Take(const live::FromViewer& message) {
  if (message.has_hello() == hello.has_value()) {
    return Refuse(live::ERROR_CODE_BAD_MESSAGE, "the first message, and no other, is the hello");
  }
  switch (message.message_case()) {
    case live::FromViewer::kHello: return Take(message.hello());
    case live::FromViewer::kSubscribe: return Take(message.subscribe());
    case live::FromViewer::kUnsubscribe: return void(subscriptions.erase(message.unsubscribe().subscription()));
    case live::FromViewer::kAcknowledge: return Take(message.acknowledge());
    case live::FromViewer::kPong: return Take(message.pong());
    case live::FromViewer::kVisibility: return Take(message.visibility());
    case live::FromViewer::MESSAGE_NOT_SET: break;
  }
  Refuse(live::ERROR_CODE_BAD_MESSAGE, "a message of a kind that is unknown here");
}

void Viewer::Take(const live::ViewerHello& given) {
  const double rate = given.devices_per_second();
  if (!(rate >= 0 && rate <= mostDevices)) {
    return Refuse(live::ERROR_CODE_BAD_MESSAGE, "devices_per_second is a number from 0 to 5");
  }
  hello = given;
  live::ToViewer answer;
  auto& to = *answer.mutable_hello();
  to.set_epoch(viewers.epoch);
  to.set_clock(wallClock());
  to.set_version(CORVALUX_VERSION);
  auto& limits = *to.mutable_limits();
  limits.set_message_bytes(static_cast<uint32_t>(viewers.limits.messageBytes));
  limits.set_messages_per_second(static_cast<uint32_t>(viewers.limits.messagesPerSecond));
  limits.set_subscriptions(static_cast<uint32_t>(viewers.limits.subscriptions));
  limits.set_patterns(static_cast<uint32_t>(viewers.limits.patterns));
  limits.set_rate(viewers.limits.rate);
  Say(answer);
}

void Viewer::Take(const live::Subscribe& subscribe) {
  if (subscribe.subscription() == 0)
    return Refuse(live::ERROR_CODE_BAD_MESSAGE, "a subscription's number is at least 1");
  subscriptions.erase(subscribe.subscription());
  if (!admission.MayAsk(address, Clock::now())) {
    viewers.onRefused("viewer subscription", address);
    return Say(live::ERROR_CODE_BUSY, "too many requests from this address; try again later", subscribe.subscription());
  }
  const auto begin = threadTime();
  try {
    Begin(subscribe);
  } catch (const std::invalid_argument& error) {
    Say(live::ERROR_CODE_BAD_MESSAGE, error.what(), subscribe.subscription());
  }
  admission.Charge(address, threadTime() - begin);
}

void Viewer::Begin(const live::Subscribe& subscribe) {
  const uint32_t number = subscribe.subscription();
  const auto streams = streamsOf(subscribe);
  if (!streams) throw std::invalid_argument("streams are fast, slow and changes, each once");
  const double rate = subscribe.rate();
  if (!(rate == 0 || (rate >= 0.01 && rate <= viewers.limits.rate))) {
    throw std::invalid_argument("rate is 0, or a number from 0.01 to " +
                                std::to_string(static_cast<int>(viewers.limits.rate)));
  }
  const auto patterns = static_cast<std::size_t>(std::max(subscribe.keys_size(), subscribe.peaks_size()));
  if (patterns > viewers.limits.patterns) return Say(live::ERROR_CODE_LIMIT, "too many patterns", number);
  if (subscriptions.size() >= viewers.limits.subscriptions) {
    return Say(live::ERROR_CODE_LIMIT, "too many subscriptions", number);
  }
  auto peaks = textsOf(subscribe.peaks());
  if (peaks.empty()) peaks = {"**/peak", "**/clips"};
  const Patterns keys(textsOf(subscribe.keys()));
  const Patterns ofPeaks(std::move(peaks));
  Device* device = viewers.devices.Find(subscribe.device());
  if (!device) return Say(live::ERROR_CODE_UNKNOWN_DEVICE, "there is no device of this name", number);
  const Subscription::Seconds interval(rate > 0 ? 1 / rate : 0);
  subscriptions[number] =
      std::make_unique<Subscription>(Subscription::Wanted{number, ++serials, *streams, interval},
                                     viewers.ExcerptOf(*device, keys, ofPeaks), [this] { viewers.Ready(*this); });
}

void Viewer::Take(const live::Acknowledge& acknowledge) {
  const auto now = Clock::now();
  const auto landed = [this, now](const Window::Flight& flight) {
    const auto found = subscriptions.find(flight.subscription);
    if (found == subscriptions.end() || found->second->Serial() != flight.serial) return;
    found->second->Landed(flight.stream, now);
    if (found->second->Waits()) viewers.Ready(*this);
  };
  if (!hello->acknowledges() || !window.Acknowledge(acknowledge.updates(), now, landed)) {
    Refuse(live::ERROR_CODE_BAD_MESSAGE, "acknowledges what was not sent");
  }
}

void Viewer::Take(const live::Pong& pong) {
  if (!pinged || pong.clock() != pinged->first) return;  // late, or twice: of no use
  roundTrip = std::chrono::duration<double>(Clock::now() - pinged->second).count();
  pinged.reset();
}

void Viewer::Take(const live::Visibility& visibility) { hidden = visibility.hidden(); }

// ---- What it gets ----

void Viewer::Pump() {
  if (!hello || writing || socket.Closing()) return;
  DropGone();
  const auto now = Clock::now();
  for (int i = 0; i < mostAtOnce; ++i) {
    if (!SendNext(now)) return WakeWhenDue();
    if (writing) return;
  }
  viewers.Ready(*this);
}

/// Whether there was something.
bool Viewer::SendNext(Clock::time_point now) {
  if (!outbox.empty()) {
    Send(std::exchange(outbox.front(), {}));
    outbox.pop_front();
    return true;
  }
  return SendDevices(now) || SendValues(now);
}

bool Viewer::SendDevices(Clock::time_point now) {
  const uint64_t round = viewers.board.Round();
  const double rate = hello->devices_per_second();
  const bool statesOnly = statesSeen > 0 && (hidden || rate == 0 || now < devicesDue);
  uint64_t& seen = statesOnly ? statesSeen : devicesSeen;
  if (seen == round) return false;
  const Octets message = viewers.board.Since(seen, statesOnly);
  seen = round;
  if (!statesOnly) {
    statesSeen = round;
    if (rate > 0)
      devicesDue = now + std::chrono::duration_cast<Clock::duration>(
                             std::chrono::duration<double>(std::min(1 / rate, longestPause)));
  }
  if (!message) return false;
  Send({}, {message, 0, message->size()});
  return true;
}

bool Viewer::SendValues(Clock::time_point now) {
  // One snapshot after the other; then each in its turn.
  auto begin = subscriptions.upper_bound(turn);
  for (std::size_t i = 0; i < subscriptions.size(); ++i, ++begin) {
    if (begin == subscriptions.end()) begin = subscriptions.begin();
    // Hidden, it takes what it has begun, which would be held for it.
    if (hidden && !begin->second->Showing()) continue;
    auto out = NextOf(*begin->second, now);
    if (!out) continue;
    if (viewers.unsent.Bytes() >= viewers.limits.unsentBytes) viewers.Relieve();
    if (begin->second->Shown()) turn = begin->first;
    if (out->stream) {
      ++viewers.updates;
      viewers.merged += out->merged - 1;
      if (hello->acknowledges()) window.Sent({begin->first, begin->second->Serial(), *out->stream, now});
    }
    Send(std::move(out->head), out->entries);
    return true;
  }
  return false;
}

std::optional<Subscription::Out> Viewer::NextOf(Subscription& of, Clock::time_point now) {
  const Window* const its = hello->acknowledges() ? &window : nullptr;
  if (of.Shown()) return of.Next(its, viewers.unsent, now);
  // Updates are made for all; a snapshot for this one alone, as the reply to a request.
  const auto begin = threadTime();
  auto out = of.Next(its, viewers.unsent, now);
  admission.Charge(address, threadTime() - begin);
  return out;
}

void Viewer::DropGone() {
  for (auto each = subscriptions.begin(); each != subscriptions.end();) {
    if (!each->second->Gone()) {
      ++each;
      continue;
    }
    Say(live::ERROR_CODE_DEVICE_GONE, "the gateway no longer has this device", each->first);
    each = subscriptions.erase(each);
  }
}

void Viewer::Send(std::string head, const Piece& piece) {
  if (socket.Write(std::move(head), piece)) return;
  writing = Clock::now();
  if (piece.octets) written = Unsent::Hold(viewers.unsent, piece.octets);
}

std::size_t Viewer::UnsentBytes() const {
  std::size_t bytes = written.Bytes();
  for (const auto& [number, subscription] : subscriptions) bytes += subscription->UnsentBytes();
  return bytes;
}

void Viewer::OnWritten() {
  writing.reset();
  written = {};
  viewers.Ready(*this);
}

void Viewer::Say(const live::ToViewer& message) {
  if (outbox.size() >= outboxLimit) return Close({beyondLimit, "reads too little of what it asks for"});
  outbox.push_back(message.SerializeAsString());
}

void Viewer::Say(live::ErrorCode code, const std::string& text, uint32_t subscription) {
  live::ToViewer message;
  message.mutable_error()->set_code(code);
  message.mutable_error()->set_text(text);
  message.mutable_error()->set_subscription(subscription);
  Say(message);
}

/// What must not be repeated.
void Viewer::Refuse(live::ErrorCode code, const std::string& text) {
  viewers.onRefused(code == live::ERROR_CODE_LIMIT ? "viewer rate" : "viewer message", address);
  outbox.clear();
  Say(code, text, 0);
  if (!writing) Send(outbox.front());
  Close({code == live::ERROR_CODE_LIMIT ? beyondLimit : badMessage, text});
}

void Viewer::Ping(Clock::time_point now) {
  live::ToViewer message;
  const double clock = wallClock();
  message.mutable_ping()->set_clock(clock);
  message.mutable_ping()->set_round_trip(roundTrip);
  pinged = {clock, now};
  pingDue = now + pingInterval;
  Say(message);
}

/// A rate limits what could be sent now.
void Viewer::WakeWhenDue() {
  std::optional<Clock::time_point> due;
  for (const auto& [number, subscription] : subscriptions) {
    const auto next = subscription->Due();
    if (next && *next > Clock::now() && (!due || *next < *due)) due = next;
  }
  if (!due || hidden || timer.expiry() == *due) return;
  timer.expires_at(*due);
  timer.async_wait([this, exists = weak_from_this()](const boost::system::error_code& error) {
    if (!error && !exists.expired()) viewers.Ready(*this);
  });
}

// ---- Deadlines ----

void Viewer::Tick(Clock::time_point now) {
  if (open && socket.Closing()) return Close({normal, ""});  // whoever closes and then reads nothing has 2 s, too
  const auto patience = viewers.limits.patience;
  if (!hello && now - begun > viewers.limits.helloTime) return Close({overdue, "no hello came"});
  if (writing && now - *writing > patience) return Close({overdue, "takes no message"});
  if (pinged && now - pinged->second > patience) return Close({overdue, "no pong came"});
  if (window.Oldest() && now - *window.Oldest() > patience) return Close({overdue, "no acknowledgement came"});
  if (TakesTooMuch(now)) return Close({tryLater, "the keys that this address wants are too much work"});
  if (hello && !pinged && now >= pingDue) Ping(now);
  viewers.Ready(*this);
}

/// Entries are made for all who want the same keys; who wants others than everybody else pays alone.
bool Viewer::TakesTooMuch(Clock::time_point now) {
  std::chrono::nanoseconds work{0};
  for (const auto& [number, subscription] : subscriptions) work += subscription->TakeWork();
  if (work.count() == 0) return false;
  admission.Charge(address, work);
  if (!admission.MustGiveUp(address, now)) return false;
  viewers.onRefused("viewer work", address);
  return true;
}

void Viewer::Close(const WebSocket::Reason& reason) { socket.Close(reason); }

void Viewer::Drop() { socket.Drop(); }

void Viewer::OnEnd() { viewers.Left(*this); }

}  // namespace corvalux::gateway
