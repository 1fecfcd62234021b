#include "gateway/fleet/Connection.h"

#include <nats/nats.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "client/BlockedSignals.h"
#include "gateway/fleet/ReleasedTogether.h"
#include "gateway/fleet/Subjects.h"

namespace corvalux::gateway {

namespace {

constexpr int64_t writeDeadline = 500;  ///< ms
constexpr int64_t connectTime = 1'000;
constexpr int64_t pingInterval = 1'000;
constexpr int mostPings = 2;  ///< without an answer
constexpr int64_t reconnectWait = 100;
constexpr int64_t reconnectJitter = 150;
constexpr std::chrono::seconds longestEnd{2};
constexpr std::chrono::seconds refusedPause{5};
constexpr std::chrono::milliseconds lookInterval{200};
constexpr int pendingMessages = 8'192;
constexpr int pendingBytes = 32 << 20;

template <typename T>
using Owned = std::unique_ptr<T, void (*)(T*)>;

void require(natsStatus status, const char* what) {
  if (status == NATS_OK) return;
  throw std::runtime_error(std::string("NATS: ") + what + ": " + natsStatus_GetText(status));
}

std::string_view headerIn(natsMsg* message, const char* name) {
  const char* text = nullptr;
  return natsMsgHeader_Get(message, name, &text) == NATS_OK && text ? text : std::string_view();
}

/// A connection, which comes back by itself until the server has refused it twice in a row.
class Link {
 public:
  using Take = std::function<void(const Incoming&)>;

  /// Throws std::runtime_error.
  Link(const FleetSettings& settings, const std::string& inbox, const Take& take);
  ~Link() { End(); }
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  bool Connected() const { return connected; }
  bool Closed() const { return closed; }
  std::size_t LargestPayload() const { return largest; }
  bool Publish(const Outgoing& message, const Headers& headers);
  uint64_t Overrun() const;
  std::string Reason() const;

 private:
  void Set(natsOptions* options, const FleetSettings& settings);
  void Subscribe(const std::string& subject);
  void Refresh();
  void End();
  static void OnMessage(natsConnection* nats, natsSubscription* subscription, natsMsg* message, void* self);
  static void OnChange(natsConnection* nats, void* self);
  static void OnClosed(natsConnection* nats, void* self);
  static void OnComplete(void* self);
  void Ended();

  const Take& take;
  /// libnats frees messages on a thread of its own, which it wakes unless some wait there already.
  ReleasedTogether<Owned<natsMsg>> used;
  std::atomic<bool> connected{false};
  std::atomic<bool> closed{false};
  std::atomic<std::size_t> largest{0};
  mutable std::mutex mutex;
  std::condition_variable changed;
  std::string reason;     // guarded by mutex
  std::size_t ended = 0;  // guarded by mutex; subscriptions, and the connection
  natsConnection* connection = nullptr;
  std::vector<natsSubscription*> subscriptions;
};

Link::Link(const FleetSettings& settings, const std::string& inbox, const Take& take) : take(take) {
  const client::BlockedSignals blocked;
  natsOptions* made = nullptr;
  require(natsOptions_Create(&made), "options");
  const Owned<natsOptions> options(made, natsOptions_Destroy);
  Set(made, settings);
  const natsStatus status = natsConnection_Connect(&connection, made);
  if (status != NATS_NOT_YET_CONNECTED) require(status, "connecting");
  if (status != NATS_OK) reason = "the server does not answer";
  try {
    Subscribe(allSubjects);
    Subscribe(inbox + ".*.*");
  } catch (...) {
    End();
    throw;
  }
  Refresh();
}

/// Only here do subscriptions end: to remove one at run time can crash libnats before 3.6.1.
void Link::End() {
  natsConnection_Close(connection);
  {
    // Its threads are in our callbacks until then.
    std::unique_lock lock(mutex);
    changed.wait_for(lock, longestEnd, [this] { return ended > subscriptions.size(); });
  }
  for (natsSubscription* each : subscriptions) natsSubscription_Destroy(each);
  natsConnection_Destroy(connection);
}

void Link::Set(natsOptions* options, const FleetSettings& settings) {
  require(natsOptions_SetURL(options, settings.url.c_str()), "the address");
  require(natsOptions_SetName(options, settings.name.c_str()), "the name");
  // 0 keeps nothing for later: what could not be published at once is old by then.
  require(natsOptions_SetReconnectBufSize(options, 0), "the buffer");
  require(natsOptions_SetSendAsap(options, true), "sending");
  require(natsOptions_SetNoEcho(options, true), "echo");
  require(natsOptions_SetIgnoreDiscoveredServers(options, true), "servers");
  require(natsOptions_SetTimeout(options, connectTime), "the timeout");
  require(natsOptions_SetWriteDeadline(options, writeDeadline), "the deadline");
  require(natsOptions_SetPingInterval(options, pingInterval), "pings");
  require(natsOptions_SetMaxPingsOut(options, mostPings), "pings");
  require(natsOptions_SetMaxReconnect(options, -1), "reconnecting");
  require(natsOptions_SetReconnectWait(options, reconnectWait), "reconnecting");
  require(natsOptions_SetReconnectJitter(options, reconnectJitter, reconnectJitter), "reconnecting");
  require(natsOptions_SetRetryOnFailedConnect(options, true, OnChange, this), "reconnecting");
  require(natsOptions_SetDisconnectedCB(options, OnChange, this), "callbacks");
  require(natsOptions_SetReconnectedCB(options, OnChange, this), "callbacks");
  require(natsOptions_SetClosedCB(options, OnClosed, this), "callbacks");
}

void Link::Subscribe(const std::string& subject) {
  natsSubscription* subscription = nullptr;
  require(natsConnection_Subscribe(&subscription, connection, subject.c_str(), OnMessage, this), "subscribing");
  subscriptions.push_back(subscription);
  require(natsSubscription_SetOnCompleteCB(subscription, OnComplete, this), "callbacks");
  require(natsSubscription_SetPendingLimits(subscription, pendingMessages, pendingBytes), "limits");
}

void Link::OnMessage(natsConnection* /*nats*/, natsSubscription* /*subscription*/, natsMsg* message, void* self) {
  Owned<natsMsg> owned(message, natsMsg_Destroy);
  const char* reply = natsMsg_GetReply(message);
  const Incoming incoming{
      natsMsg_GetSubject(message),
      reply ? reply : std::string_view(),
      {natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message))},
      {headerIn(message, header::origin), headerIn(message, header::sequence), headerIn(message, header::age),
       headerIn(message, header::clock), headerIn(message, header::part)}};
  auto& us = *static_cast<Link*>(self);
  us.take(incoming);
  us.used.Add(std::move(owned), incoming.payload.size());
}

/// On threads of libnats.
void Link::OnChange(natsConnection* nats, void* self) {
  auto& us = *static_cast<Link*>(self);
  const char* error = nullptr;
  const natsStatus status = natsConnection_GetLastError(nats, &error);
  {
    const std::lock_guard lock(us.mutex);
    us.reason = status == NATS_OK ? "the connection ended" : natsStatus_GetText(status);
    if (error && *error) us.reason += std::string(": ") + error;
  }
  us.largest = static_cast<std::size_t>(std::max<int64_t>(natsConnection_GetMaxPayload(nats), 0));
  us.connected = natsConnection_Status(nats) == NATS_CONN_STATUS_CONNECTED;
}

void Link::OnClosed(natsConnection* nats, void* self) {
  OnChange(nats, self);
  static_cast<Link*>(self)->closed = true;
  static_cast<Link*>(self)->Ended();
}

void Link::OnComplete(void* self) { static_cast<Link*>(self)->Ended(); }

void Link::Ended() {
  const std::lock_guard lock(mutex);
  ++ended;
  changed.notify_all();
}

void Link::Refresh() {
  largest = static_cast<std::size_t>(std::max<int64_t>(natsConnection_GetMaxPayload(connection), 0));
  connected = natsConnection_Status(connection) == NATS_CONN_STATUS_CONNECTED;
}

bool Link::Publish(const Outgoing& message, const Headers& headers) {
  natsMsg* made = nullptr;
  const char* reply = message.reply.empty() ? nullptr : message.reply.c_str();
  const char* data = message.payload ? message.payload->data() : nullptr;
  const int size = message.payload ? static_cast<int>(message.payload->size()) : 0;
  if (natsMsg_Create(&made, message.subject.c_str(), reply, data, size) != NATS_OK) return false;
  Owned<natsMsg> owned(made, natsMsg_Destroy);
  bool all = true;
  const auto set = [&](const char* name, const std::string& text) {
    all = all && natsMsgHeader_Set(made, name, text.c_str()) == NATS_OK;
  };
  set(header::origin, textOf(headers.origin));
  if (headers.sequence > 0) set(header::sequence, std::to_string(headers.sequence));
  if (headers.sequence > 0) set(header::age, textOf(headers.age));
  set(header::clock, textOf(headers.clock));
  if (headers.part > 0) set(header::part, std::to_string(headers.part));
  all = all && natsConnection_PublishMsg(connection, made) == NATS_OK;
  used.Add(std::move(owned), static_cast<std::size_t>(size));
  return all;
}

uint64_t Link::Overrun() const {
  uint64_t sum = 0;
  for (natsSubscription* each : subscriptions) {
    int64_t dropped = 0;
    if (natsSubscription_GetDropped(each, &dropped) == NATS_OK) sum += static_cast<uint64_t>(dropped);
  }
  return sum;
}

std::string Link::Reason() const {
  const std::lock_guard lock(mutex);
  return reason;
}

/// A link, and another one after one that is closed: a password may be right later.
class NatsBus final : public Bus {
 public:
  NatsBus(FleetSettings settings, std::string inbox, Link::Take take)
      : settings(std::move(settings)), inbox(std::move(inbox)), take(std::move(take)) {
    const client::BlockedSignals blocked;
    keeper = std::thread([this] { Keep(); });
  }
  ~NatsBus() override;
  NatsBus(const NatsBus&) = delete;
  NatsBus& operator=(const NatsBus&) = delete;

  bool Connected() const override;
  std::size_t LargestPayload() const override;
  bool Publish(const Outgoing& message, const Headers& headers) override;
  uint64_t Overrun() const override;
  std::string Reason() const override;

 private:
  void Keep();
  void Begin();
  bool Stopped(std::chrono::milliseconds time);
  std::shared_ptr<Link> Present() const;

  const FleetSettings settings;
  const std::string inbox;
  const Link::Take take;
  mutable std::mutex mutex;  // guards all below
  std::condition_variable changed;
  std::shared_ptr<Link> link;
  std::string failure;
  bool stopping = false;
  std::thread keeper;  ///< last, so that all is there when it starts
};

NatsBus::~NatsBus() {
  {
    const std::lock_guard lock(mutex);
    stopping = true;
  }
  changed.notify_all();
  keeper.join();
}

void NatsBus::Keep() {
  do {
    Begin();
    while (const auto present = Present()) {
      if (present->Closed()) break;
      if (Stopped(lookInterval)) return;
    }
    const std::shared_ptr<Link> former = Present();
    const std::lock_guard lock(mutex);
    if (former) failure = "the server closed the connection: " + former->Reason();
    link.reset();
  } while (!Stopped(refusedPause));
}

void NatsBus::Begin() {
  std::shared_ptr<Link> made;
  std::string why;
  try {
    made = std::make_shared<Link>(settings, inbox, take);
  } catch (const std::exception& error) {
    why = error.what();
  }
  const std::lock_guard lock(mutex);
  link = std::move(made);
  failure = std::move(why);
}

bool NatsBus::Stopped(std::chrono::milliseconds time) {
  std::unique_lock lock(mutex);
  return changed.wait_for(lock, time, [this] { return stopping; });
}

std::shared_ptr<Link> NatsBus::Present() const {
  const std::lock_guard lock(mutex);
  return link;
}

bool NatsBus::Connected() const {
  const auto present = Present();
  return present && present->Connected();
}

std::size_t NatsBus::LargestPayload() const {
  const auto present = Present();
  return present ? present->LargestPayload() : 0;
}

bool NatsBus::Publish(const Outgoing& message, const Headers& headers) {
  const auto present = Present();
  return present && present->Publish(message, headers);
}

uint64_t NatsBus::Overrun() const {
  const auto present = Present();
  return present ? present->Overrun() : 0;
}

std::string NatsBus::Reason() const {
  const auto present = Present();
  if (present) return present->Reason();
  const std::lock_guard lock(mutex);
  return failure;
}

}  // namespace

std::unique_ptr<Bus> connectNats(const FleetSettings& settings, const std::string& inbox,
                                 std::function<void(const Incoming&)> take) {
  return std::make_unique<NatsBus>(settings, inbox, std::move(take));
}

}  // namespace corvalux::gateway
