#include "grpc.h"

#include <grpc/grpc.h>
#include <grpc/support/time.h>
#include <grpcpp/impl/channel_argument_option.h>
#include <grpcpp/resource_quota.h>
#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server_builder.h>
#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <future>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "Log.h"

namespace corvalux::grpc {

// ---- Configuration ----

namespace {

constexpr int32_t unset = -1;

/// The values of the host's list. The two environment variables are read later, when the server is built.
struct Settings {
  const char* serverUrl = "0.0.0.0:50005";  ///< host-owned until copied
  int32_t numCqs = unset;
  uint32_t memoryBytes = 1024 * 1024;
  int32_t minPollers = unset;
  int32_t maxPollers = unset;
  int32_t cqTimeoutMs = unset;
  int32_t quotaMaxThreads = unset;
};

/// Whether the list holds an integer of at least `least`; else `value` is unchanged.
bool readAtLeast(KeyValueList config, const char* key, int32_t least, int32_t& value) {
  int32_t read = 0;
  if (corvalux_keyValueListGetI(config, key, &read) != 0 || read < least) return false;
  value = read;
  return true;
}

Settings readSettings(KeyValueList config) {
  Settings settings;
  if (!config) return settings;

  if (corvalux_keyValueListGetS(config, "serverUrl", &settings.serverUrl) == 0) {
    CORVALUX_LOG(logDetail, "serverUrl: %s", settings.serverUrl);
  }
  if (readAtLeast(config, "grpc_num_cqs", 1, settings.numCqs)) {
    CORVALUX_LOG(logDetail, "grpc_num_cqs: %d", settings.numCqs);
  }
  if (int32_t kilobytes = 0; readAtLeast(config, "grpc_memory_kb", 1, kilobytes)) {
    CORVALUX_LOG(logDetail, "grpc_memory_kb: %d", kilobytes);
    settings.memoryBytes = static_cast<uint32_t>(std::max(kilobytes, 128)) * 1024U;
  }
  if (readAtLeast(config, "grpc_min_pollers", 1, settings.minPollers)) {
    CORVALUX_LOG(logDetail, "grpc_min_pollers: %d", settings.minPollers);
  }
  if (readAtLeast(config, "grpc_max_pollers", 1, settings.maxPollers)) {
    CORVALUX_LOG(logDetail, "grpc_max_pollers: %d", settings.maxPollers);
  }
  if (readAtLeast(config, "grpc_cq_timeout_ms", 1, settings.cqTimeoutMs)) {
    CORVALUX_LOG(logDetail, "grpc_cq_timeout_ms: %d", settings.cqTimeoutMs);
  }
  int32_t threads = 0;
  if (readAtLeast(config, "quota_new_max_threads", 2, threads) && threads > settings.maxPollers) {
    settings.quotaMaxThreads = threads;
    CORVALUX_LOG(logDetail, "quota_new_max_threads: %d", threads);
  }
  return settings;
}

/// The number that a text begins with, if it begins with one.
std::optional<int32_t> leadingNumber(const char* text) {
  char* end = nullptr;
  const long number = std::strtol(text, &end, 10);
  return end == text ? std::nullopt : std::optional(static_cast<int32_t>(number));
}

int32_t keepaliveWithoutCalls() {
  constexpr int32_t fallback = 1;
  const char* text = std::getenv("CORVALUX_GRPC_KEEPALIVE_WITHOUT_CALLS");
  if (!text) return fallback;
  const auto number = leadingNumber(text);
  if (!number) CORVALUX_LOG(logWarning, "unsupported value for keepalive without calls: %s", text);
  return number.value_or(fallback);
}

int32_t minPingIntervalMs() {
  constexpr int32_t fallback = 5000;
  const char* text = std::getenv("CORVALUX_GRPC_MIN_PING_WITHOUT_DATA");
  if (!text) return fallback;
  const auto number = leadingNumber(text);
  if (!number) CORVALUX_LOG(logWarning, "unsupported value for min ping without data: %s", text);
  return number.value_or(fallback);
}

}  // namespace

// ---- Conversion ----

namespace {

// Kept out of line, because a message of unchanged shape does not need it: inlined, every entry would save and restore
// the registers that only this code uses.

/// Not set_key and set_data: they build a temporary string, which allocates for every text over 15 characters.
[[gnu::noinline]] void copyText(const char* text, std::string* target) { target->assign(text); }

template <typename Element>
[[gnu::noinline]] void resize(google::protobuf::RepeatedField<Element>* values, int count) {
  values->Resize(count, Element{});
}

template <typename Element>
void copyArray(const KeyValueEntry* entry, google::protobuf::RepeatedField<Element>* values) {
  const auto count = static_cast<int>(entry->count);
  if (values->size() != count) resize(values, count);
  if (count > 0) std::memcpy(values->mutable_data(), entry->value.array, entry->count * sizeof(Element));
}

}  // namespace

void convertValue(const KeyValueEntry* entry, AnyValue* value) {
  switch (entry->type) {
    case KEY_VALUE_UINT: value->set_uint_value(entry->value.uintValue); break;
    case KEY_VALUE_INT: value->set_int_value(entry->value.intValue); break;
    case KEY_VALUE_FLOAT: value->set_float_value(entry->value.floatValue); break;
    case KEY_VALUE_TEXT: copyText(entry->value.text, value->mutable_string_value()->mutable_data()); break;
    case KEY_VALUE_UINT_ARRAY: copyArray(entry, value->mutable_uint_array()->mutable_values()); break;
    case KEY_VALUE_INT_ARRAY: copyArray(entry, value->mutable_int_array()->mutable_values()); break;
    case KEY_VALUE_FLOAT_ARRAY: copyArray(entry, value->mutable_float_array()->mutable_values()); break;
    case KEY_VALUE_DOUBLE: value->set_double_value(entry->value.doubleValue); break;
    default: break;
  }
}

template <typename T>
int32_t fillKeyValue(const KeyValueEntry* entry, EntryCursor<T>* cursor) {
  auto* entries = cursor->target->mutable_entries();
  KeyValue* keyValue = cursor->index < entries->size() ? entries->Mutable(cursor->index) : entries->Add();
  ++cursor->index;
  // A comparison costs half as much as a copy, and a refilled message mostly has the key already.
  if (std::strcmp(keyValue->key().c_str(), entry->key) != 0) copyText(entry->key, keyValue->mutable_key());
  convertValue(entry, keyValue->mutable_value());
  return 0;
}

template int32_t fillKeyValue(const KeyValueEntry* entry, EntryCursor<Meter>* cursor);
template int32_t fillKeyValue(const KeyValueEntry* entry, EntryCursor<Notification>* cursor);

// ---- Callbacks ----

namespace {

/// Walks the host's list into `message` and returns the number of entries visited.
template <typename T>
int32_t fillMessage(KeyValueList list, T& message) {
  EntryCursor<T> cursor{&message};
  const KeyValueVisitor visitor = [](const KeyValueEntry* entry, void* user) {
    return fillKeyValue(entry, static_cast<EntryCursor<T>*>(user));
  };
  corvalux_keyValueListForEach(list, visitor, &cursor);
  return cursor.index;
}

/// The message is not cleared afterwards: the next update reuses its entries, values and arrays.
void publishMeters(KeyValueList meters, Meter& message, PublisherGeneric<Meter>& publisher) {
  if (!publisher.HasSubscribers()) return;
  const int32_t count = fillMessage(meters, message);
  if (message.entries_size() > count) {
    message.mutable_entries()->DeleteSubrange(count, message.entries_size() - count);
  }
  publisher.Publish(message);
}

}  // namespace

void meterFastCallback(KeyValueList meters, void* user) {
  auto& state = *static_cast<GrpcModuleState*>(user);
  publishMeters(meters, state.fastMeter, *state.fastPublisher);
}

void meterSlowCallback(KeyValueList meters, void* user) {
  auto& state = *static_cast<GrpcModuleState*>(user);
  publishMeters(meters, state.slowMeter, *state.slowPublisher);
}

void notifyChangesCallback(KeyValueList changes, void* user) {
  Notification notification;
  fillMessage(changes, notification);
  static_cast<GrpcModuleState*>(user)->changePublisher->Publish(notification);
}

// ---- Router ----

namespace {

using namespace std::chrono_literals;

constexpr auto closeLimit = 1999ms;
constexpr auto closePoll = 50ms;

template <typename Service>
void closeStreamsOf(Service* service) {
  if (!service) return;
  service->FinishAll();
  const auto start = std::chrono::steady_clock::now();
  auto elapsed = 0ms;
  while (!service->Empty() && elapsed <= closeLimit) {
    std::this_thread::sleep_for(closePoll);
    elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  }
}

}  // namespace

GrpcGenericRouter::GrpcGenericRouter(std::shared_ptr<GrpcMetersServiceGeneric> metersService,
                                     std::shared_ptr<GrpcNotificationsServiceGeneric> notificationsService)
    : metersService(std::move(metersService)), notificationsService(std::move(notificationsService)) {}

GrpcGenericRouter::~GrpcGenericRouter() { CloseStreams(); }

::grpc::ServerGenericBidiReactor* GrpcGenericRouter::CreateReactor(::grpc::GenericCallbackServerContext* context) {
  const std::string_view method = context->method();
  if (metersService && method.starts_with("/corvalux.grpc.Meters/")) return metersService->CreateReactor(context);
  if (notificationsService && method.starts_with("/corvalux.grpc.Notifications/")) {
    return notificationsService->CreateReactor(context);
  }
  return CallbackGenericService::CreateReactor(context);
}

bool GrpcGenericRouter::CloseStreams() noexcept {
  closeStreamsOf(metersService.get());
  closeStreamsOf(notificationsService.get());
  return (!metersService || metersService->Empty()) && (!notificationsService || notificationsService->Empty());
}

// ---- Start: the server ----

namespace {

/// Listens on every address of a list separated by single spaces. Empty pieces are skipped, but the last one counts as
/// it stands: a trailing space adds an empty address, which keeps the server from starting.
void addListeningPorts(::grpc::ServerBuilder& builder, const std::string& serverUrl) {
  const auto add = [&builder](const std::string& address) {
    CORVALUX_LOG(logDetail, "AddListening on %s", address.c_str());
    builder.AddListeningPort(address, ::grpc::InsecureServerCredentials());
  };
  std::size_t begin = 0;
  for (auto end = serverUrl.find(' '); end != std::string::npos; end = serverUrl.find(' ', begin)) {
    if (end > begin) add(serverUrl.substr(begin, end - begin));
    begin = end + 1;
  }
  add(serverUrl.substr(begin));
}

void setResourceQuota(::grpc::ServerBuilder& builder, const Settings& settings) {
  ::grpc::ResourceQuota quota("resource-quota");
  if (settings.quotaMaxThreads > 0) quota.SetMaxThreads(settings.quotaMaxThreads);
  quota.Resize(settings.memoryBytes);
  builder.SetResourceQuota(quota);
}

void setSyncServerOptions(::grpc::ServerBuilder& builder, const Settings& settings) {
  using Option = ::grpc::ServerBuilder::SyncServerOption;
  if (settings.numCqs > 0) builder.SetSyncServerOption(Option::NUM_CQS, settings.numCqs);
  if (settings.minPollers > 0) builder.SetSyncServerOption(Option::MIN_POLLERS, settings.minPollers);
  if (settings.maxPollers > settings.minPollers) {
    builder.SetSyncServerOption(Option::MAX_POLLERS, settings.maxPollers);
  }
  if (settings.cqTimeoutMs > 0) builder.SetSyncServerOption(Option::CQ_TIMEOUT_MSEC, settings.cqTimeoutMs);
}

void setChannelArguments(::grpc::ServerBuilder& builder) {
  builder.SetOption(::grpc::MakeChannelArgumentOption("grpc.keepalive_permit_without_calls", keepaliveWithoutCalls()));
  builder.SetOption(
      ::grpc::MakeChannelArgumentOption("grpc.http2.min_ping_interval_without_data_ms", minPingIntervalMs()));
}

/// Keeps the library initialised for the process's lifetime: its shutdown, after the last server, can block the host's
/// thread for 10 s when a connection arrives while that server stops (gRPC up to 1.51).
void keepLibraryInitialised() {
  static const bool initialised = (grpc_init(), true);
  static_cast<void>(initialised);
}

bool startServer(GrpcModuleState& state, const Settings& settings) {
  const std::string serverUrl = settings.serverUrl;
  if (serverUrl.empty()) return false;
  keepLibraryInitialised();

  CORVALUX_LOG(logLifecycle, "grpc: creating services for gRPC callback APIs..");
  auto metersService = std::make_shared<GrpcMetersServiceGeneric>(state.fastPublisher.get(), state.slowPublisher.get());
  auto notificationsService = std::make_shared<GrpcNotificationsServiceGeneric>(state.changePublisher.get());
  state.router = std::make_shared<GrpcGenericRouter>(std::move(metersService), std::move(notificationsService));

  ::grpc::ServerBuilder builder;
  addListeningPorts(builder, serverUrl);
  setResourceQuota(builder, settings);
  setSyncServerOptions(builder, settings);
  builder.RegisterCallbackGenericService(state.router.get());
  setChannelArguments(builder);
  state.server = builder.BuildAndStart();
  if (!state.server) {
    CORVALUX_LOG(logWarning, "error starting Server listening on %s", serverUrl.c_str());
    return false;
  }
  CORVALUX_LOG(logDetail, "Server listening on %s", serverUrl.c_str());
  return true;
}

}  // namespace

// ---- Start: the engine callbacks ----

namespace {

void removeMeterCallback(EngineHandle engine, CallbackHandle& registration) {
  if (registration && engine) corvalux_engine_rmCallbackMeterManager(engine, registration);
  registration = nullptr;
}

void removeChangeCallback(EngineHandle engine, CallbackHandle& registration) {
  if (registration && engine) corvalux_engine_notify_changes_rmCallback(engine, registration);
  registration = nullptr;
}

bool registerCallbacks(const HostModuleRecord& record, GrpcModuleState& state) {
  removeMeterCallback(state.fastEngine, state.fastRegistration);  // a new state has none: docs/decisions/0011
  state.fastEngine = record.engine;
  state.fastRegistration = corvalux_engine_addCallbackMeterManager(state.fastEngine, 1, meterFastCallback, &state);
  if (!state.fastRegistration) {
    CORVALUX_LOG(logError, "cannot register meter fast callback");
    return false;
  }
  removeMeterCallback(state.slowEngine, state.slowRegistration);
  state.slowEngine = record.engine;
  state.slowRegistration = corvalux_engine_addCallbackMeterManager(state.slowEngine, 0, meterSlowCallback, &state);
  if (!state.slowRegistration) {
    CORVALUX_LOG(logError, "cannot register meter slow callback");
    return false;
  }
  removeChangeCallback(state.changeEngine, state.changeRegistration);
  state.changeEngine = record.engine;
  state.changeRegistration =
      corvalux_engine_notify_changes_addCallback(state.changeEngine, notifyChangesCallback, &state);
  if (!state.changeRegistration) {
    CORVALUX_LOG(logError, "cannot register meter slow callback");  // the change callback has no text of its own
    return false;
  }
  return true;
}

}  // namespace

// ---- Stop ----

namespace {

constexpr int64_t graceMs = 950;
constexpr auto serverLimit = 1200ms;  ///< beyond the grace period: gRPC 1.51 can take 100 ms more to join its threads
constexpr auto stopLimit = 5000ms;    ///< for streams and server together

/// Blocks asynchronous signals on this thread for its lifetime: gRPC 1.51 restarts a timed wait at each signal that the
/// waiting thread handles. Signals raised by a fault stay unblocked.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t signals;
    sigfillset(&signals);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGSYS, SIGTRAP}) sigdelset(&signals, fault);
    pthread_sigmask(SIG_BLOCK, &signals, &previous);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &previous, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t previous{};
};

/// Shuts the server down: a client that answers by the deadline first receives all that was written to it, its final
/// status included. At the deadline the rest is cancelled. A client that does not read can delay the shutdown
/// indefinitely, because a write that has begun must end before its connection is closed. So it runs on a thread of its
/// own. Returns the state, or null at `latest`: the thread then destroys the state after the shutdown.
std::unique_ptr<GrpcModuleState> shutDown(std::unique_ptr<GrpcModuleState> state, gpr_timespec deadline,
                                          std::chrono::steady_clock::time_point latest) {
  using Promise = std::promise<std::unique_ptr<GrpcModuleState>>;
  const SignalsBlocked blocked;  // on this thread; the new one inherits it
  std::shared_ptr<Promise> promise;
  std::future<std::unique_ptr<GrpcModuleState>> result;
  std::thread thread;
  try {
    promise = std::make_shared<Promise>();
    result = promise->get_future();
    thread = std::thread([owned = state.get(), promise, deadline] {
      owned->server->Shutdown(deadline);
      promise->set_value(std::unique_ptr<GrpcModuleState>(owned));
    });
  } catch (const std::exception&) {  // no thread available
    state->server->Shutdown(deadline);
    return state;
  }
  static_cast<void>(state.release());
  if (result.wait_until(latest) != std::future_status::ready) {
    thread.detach();
    return nullptr;
  }
  thread.join();
  return result.get();
}

/// Shuts the server down while router and publishers exist: the last reactions of cancelled streams call them, and new
/// calls reach the router as long as the server runs. Returns null if that takes too long.
std::unique_ptr<GrpcModuleState> endServer(std::unique_ptr<GrpcModuleState> state) {
  const auto begin = std::chrono::steady_clock::now();
  // A client that does not read keeps its stream open. Then there is no grace period: the others have had the time of
  // the wait. The clock is monotonic: the device's clock may be set meanwhile.
  const auto grace = gpr_time_from_millis(state->router->CloseStreams() ? graceMs : 0, GPR_TIMESPAN);
  const auto latest = std::min(begin + stopLimit, std::chrono::steady_clock::now() + serverLimit);
  return shutDown(std::move(state), gpr_time_add(gpr_now(GPR_CLOCK_MONOTONIC), grace), latest);
}

void removeCallbacks(GrpcModuleState& state) {
  removeMeterCallback(state.slowEngine, state.slowRegistration);
  removeMeterCallback(state.fastEngine, state.fastRegistration);
  removeChangeCallback(state.changeEngine, state.changeRegistration);
}

/// Undoes a start, however far it got. Engine first, then clients, then server: each step needs what the next one ends.
/// The state stays in the slot if the engine throws.
void teardown(HostModuleRecord* record) {
  auto* const held = static_cast<GrpcModuleState*>(record->moduleSlot);
  if (!held) return;
  removeCallbacks(*held);
  record->moduleSlot = nullptr;
  std::unique_ptr<GrpcModuleState> state(held);
  if (state->server) state = endServer(std::move(state));
  if (!state) return;
  state->router.reset();
  state->changePublisher.reset();  // in this order: docs/decisions/0011
  state->slowPublisher.reset();
  state->fastPublisher.reset();
  state->server.reset();
}

}  // namespace

void stopCycle(HostModuleRecord* record) noexcept {
  CORVALUX_LOG(logLifecycle, "%s(%s)", "stopCycle", record->name);
  teardown(record);
}

// ---- Start ----

namespace {

int32_t start(HostModuleRecord* record, KeyValueList config) {
  CORVALUX_LOG(logDetail, "%s(%s, %p)", "startCycle", record->name, static_cast<const void*>(config));
  const Settings settings = readSettings(config);
  // The slot is set first, whatever it held: stop must find what a failed start leaves behind.
  auto* state = new GrpcModuleState;
  record->moduleSlot = state;
  if (!startServer(*state, settings)) {
    CORVALUX_LOG(logError, "error while starting grpc server!");
  } else if (registerCallbacks(*record, *state)) {
    return 0;
  }
  CORVALUX_LOG(logError, "gRPC module error starting");
  teardown(record);
  return -1;
}

}  // namespace

int32_t startCycle(HostModuleRecord* record, KeyValueList config) noexcept {
  try {
    return start(record, config);
  } catch (const std::exception& e) {
    CORVALUX_LOG(logDetail, "C++ exception in grpc: %s", e.what());
  } catch (...) {
    CORVALUX_LOG(logWarning, "C++ exception in grpc");
  }
  return -1;
}

}  // namespace corvalux::grpc

// ---- Descriptor ----

const PluginEntry plugin_entry_0_6 = {
    .name = "grpc",
    .unused1 = nullptr,
    .startCycle = corvalux::grpc::startCycle,
    .unused3 = nullptr,
    .stopCycle = corvalux::grpc::stopCycle,
    .unused5 = nullptr,
    .unused6 = nullptr,
    .word7 = 1,
};

const char* const plugin_entry_corvalux_module_version = CORVALUX_GRPC_VERSION;
