#include "gateway/fleet/Connection.h"

#include <nats/nats.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "client/BlockedSignals.h"
#include "gateway/fleet/Subjects.h"

namespace corvalux::gateway {

namespace {

constexpr int64_t writeDeadline = 500;  ///< ms
constexpr int64_t connectTime = 2'000;
constexpr int64_t pingInterval = 1'000;
constexpr int mostPings = 2;  ///< without an answer
constexpr int64_t reconnectWait = 100;
constexpr int64_t reconnectJitter = 150;
constexpr std::chrono::seconds longestEnd{2};
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

class NatsConnection final : public Bus {
 public:
  NatsConnection(const FleetSettings& settings, const std::string& inbox, std::function<void(const Incoming&)> takeIt);
  ~NatsConnection() override;
  NatsConnection(const NatsConnection&) = delete;
  NatsConnection& operator=(const NatsConnection&) = delete;

  bool Connected() const override { return connected; }
  std::size_t LargestPayload() const override { return largest; }
  bool Publish(const Outgoing& message, const Headers& headers) override;
  uint64_t Overrun() const override;
  std::string Reason() const override;

 private:
  void Set(natsOptions* options, const FleetSettings& settings);
  void Subscribe(const std::string& subject);
  void Refresh();
  static void OnMessage(natsConnection* nats, natsSubscription* subscription, natsMsg* message, void* self);
  static void OnChange(natsConnection* nats, void* self);
  static void OnClosed(natsConnection* nats, void* self);
  static void OnComplete(void* self);
  void Ended();

  const std::function<void(const Incoming&)> take;
  std::atomic<bool> connected{false};
  std::atomic<std::size_t> largest{0};
  mutable std::mutex mutex;
  std::condition_variable changed;
  std::string reason = "no answer yet";  // guarded by mutex
  std::size_t ended = 0;                 // guarded by mutex; subscriptions, and the connection
  natsConnection* connection = nullptr;
  std::vector<natsSubscription*> subscriptions;
};

NatsConnection::NatsConnection(const FleetSettings& settings, const std::string& inbox,
                               std::function<void(const Incoming&)> takeIt)
    : take(std::move(takeIt)) {
  const client::BlockedSignals blocked;
  natsOptions* made = nullptr;
  require(natsOptions_Create(&made), "options");
  const Owned<natsOptions> options(made, natsOptions_Destroy);
  Set(made, settings);
  const natsStatus status = natsConnection_Connect(&connection, made);
  if (status != NATS_NOT_YET_CONNECTED) require(status, "connecting");
  Subscribe(allSubjects);
  Subscribe(inbox + ".*.*");
  Refresh();
}

/// Only here do subscriptions end: to remove one at run time can crash libnats before 3.6.1.
NatsConnection::~NatsConnection() {
  natsConnection_Close(connection);
  {
    // Its threads are in our callbacks until then.
    std::unique_lock lock(mutex);
    changed.wait_for(lock, longestEnd, [this] { return ended > subscriptions.size(); });
  }
  for (natsSubscription* each : subscriptions) natsSubscription_Destroy(each);
  natsConnection_Destroy(connection);
}

void NatsConnection::Set(natsOptions* options, const FleetSettings& settings) {
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

void NatsConnection::Subscribe(const std::string& subject) {
  natsSubscription* subscription = nullptr;
  require(natsConnection_Subscribe(&subscription, connection, subject.c_str(), OnMessage, this), "subscribing");
  subscriptions.push_back(subscription);
  require(natsSubscription_SetOnCompleteCB(subscription, OnComplete, this), "callbacks");
  require(natsSubscription_SetPendingLimits(subscription, pendingMessages, pendingBytes), "limits");
}

void NatsConnection::OnMessage(natsConnection* /*nats*/, natsSubscription* /*subscription*/, natsMsg* message,
                               void* self) {
  const Owned<natsMsg> owned(message, natsMsg_Destroy);
  const char* reply = natsMsg_GetReply(message);
  const Incoming incoming{
      natsMsg_GetSubject(message),
      reply ? reply : std::string_view(),
      {natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message))},
      {headerIn(message, header::origin), headerIn(message, header::sequence), headerIn(message, header::age),
       headerIn(message, header::clock), headerIn(message, header::part)}};
  static_cast<NatsConnection*>(self)->take(incoming);
}

/// On threads of libnats.
void NatsConnection::OnChange(natsConnection* nats, void* self) {
  auto& us = *static_cast<NatsConnection*>(self);
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

void NatsConnection::OnClosed(natsConnection* nats, void* self) {
  OnChange(nats, self);
  static_cast<NatsConnection*>(self)->Ended();
}

void NatsConnection::OnComplete(void* self) { static_cast<NatsConnection*>(self)->Ended(); }

void NatsConnection::Ended() {
  const std::lock_guard lock(mutex);
  ++ended;
  changed.notify_all();
}

void NatsConnection::Refresh() {
  largest = static_cast<std::size_t>(std::max<int64_t>(natsConnection_GetMaxPayload(connection), 0));
  connected = natsConnection_Status(connection) == NATS_CONN_STATUS_CONNECTED;
}

bool NatsConnection::Publish(const Outgoing& message, const Headers& headers) {
  natsMsg* made = nullptr;
  const char* reply = message.reply.empty() ? nullptr : message.reply.c_str();
  const char* data = message.payload ? message.payload->data() : nullptr;
  const int size = message.payload ? static_cast<int>(message.payload->size()) : 0;
  if (natsMsg_Create(&made, message.subject.c_str(), reply, data, size) != NATS_OK) return false;
  const Owned<natsMsg> owned(made, natsMsg_Destroy);
  bool all = true;
  const auto set = [&](const char* name, const std::string& text) {
    all = all && natsMsgHeader_Set(made, name, text.c_str()) == NATS_OK;
  };
  set(header::origin, textOf(headers.origin));
  if (headers.sequence > 0) set(header::sequence, std::to_string(headers.sequence));
  if (headers.sequence > 0) set(header::age, textOf(headers.age));
  set(header::clock, textOf(headers.clock));
  if (headers.part > 0) set(header::part, std::to_string(headers.part));
  return all && natsConnection_PublishMsg(connection, made) == NATS_OK;
}

uint64_t NatsConnection::Overrun() const {
  uint64_t sum = 0;
  for (natsSubscription* each : subscriptions) {
    int64_t dropped = 0;
    if (natsSubscription_GetDropped(each, &dropped) == NATS_OK) sum += static_cast<uint64_t>(dropped);
  }
  return sum;
}

std::string NatsConnection::Reason() const {
  const std::lock_guard lock(mutex);
  return reason;
}

}  // namespace

std::unique_ptr<Bus> connectNats(const FleetSettings& settings, const std::string& inbox,
                                 std::function<void(const Incoming&)> take) {
  return std::make_unique<NatsConnection>(settings, inbox, std::move(take));
}

}  // namespace corvalux::gateway
