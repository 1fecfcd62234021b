#include "module/GrpcCalls.h"

#include <dlfcn.h>
#include <grpc/grpc.h>
#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/impl/server_builder_option.h>
#include <grpcpp/resource_quota.h>
#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server_builder.h>
#include <grpcpp/support/channel_arguments.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <utility>

namespace {

struct Recorder {
  std::mutex mutex;
  bool active = false;  // guarded by mutex, as is all that follows
  std::vector<std::string> calls;
  std::string address;  // empty: the module's own
  std::string raiseIn;  // empty: nowhere
  std::function<void()> raise;
  std::function<void(const std::string&)> observer;
};

Recorder recorder;
std::atomic<std::size_t> naps = 0;
thread_local const ::grpc::ServerCredentials* insecure = nullptr;

void note(const std::string& call) {
  std::unique_lock lock(recorder.mutex);
  if (!recorder.active) return;
  recorder.calls.push_back(call);
  const auto observer = recorder.observer;
  const bool raises = !recorder.raiseIn.empty() && call.starts_with(recorder.raiseIn);
  const auto raise = recorder.raise;
  lock.unlock();
  if (observer) observer(call);
  if (raises) raise();
}

std::string listeningAddress(const std::string& asked) {
  const std::lock_guard lock(recorder.mutex);
  return recorder.active && !recorder.address.empty() ? recorder.address : asked;
}

/// The library's own function, by the name that the loader knows.
template <typename Function>
Function* libraryFunction(const char* name) {
  void* function = dlsym(RTLD_NEXT, name);
  if (!function) std::abort();  // the library has another interface than these tests know
  return reinterpret_cast<Function*>(function);
}

/// Name and value of the channel argument that an option sets.
std::string argumentOf(::grpc::ServerBuilderOption& option) {
  ::grpc::ChannelArguments arguments;
  option.UpdateArguments(&arguments);
  const ::grpc_channel_args list = arguments.c_channel_args();
  for (std::size_t i = 0; i < list.num_args; ++i) {
    const ::grpc_arg& argument = list.args[i];
    if (argument.type == GRPC_ARG_INTEGER) return argument.key + ("=" + std::to_string(argument.value.integer));
  }
  return "nothing";
}

const char* nameOf(::grpc::ServerBuilder::SyncServerOption option) {
  switch (option) {
    case ::grpc::ServerBuilder::NUM_CQS: return "NUM_CQS";
    case ::grpc::ServerBuilder::MIN_POLLERS: return "MIN_POLLERS";
    case ::grpc::ServerBuilder::MAX_POLLERS: return "MAX_POLLERS";
    case ::grpc::ServerBuilder::CQ_TIMEOUT_MSEC: return "CQ_TIMEOUT_MSEC";
  }
  return "?";
}

}  // namespace

// ---- The library's C++ functions ----

namespace grpc {

std::shared_ptr<ServerCredentials> InsecureServerCredentials() {
  static auto* const next =
      libraryFunction<std::shared_ptr<ServerCredentials>()>("_ZN4grpc25InsecureServerCredentialsEv");
  auto credentials = next();
  insecure = credentials.get();
  return credentials;
}

ServerBuilder& ServerBuilder::AddListeningPort(const std::string& address,
                                               std::shared_ptr<ServerCredentials> credentials, int* selectedPort) {
  static auto* const next =
      libraryFunction<ServerBuilder&(ServerBuilder*, const std::string&, std::shared_ptr<ServerCredentials>, int*)>(
          "_ZN4grpc13ServerBuilder16AddListeningPortERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
          "St10shared_ptrINS_17ServerCredentialsEEPi");
  note("AddListeningPort " + address + (credentials.get() == insecure ? "" : " with other credentials") +
       (selectedPort ? " asking for the port" : ""));
  return next(this, listeningAddress(address), std::move(credentials), selectedPort);
}

ServerBuilder& ServerBuilder::SetSyncServerOption(SyncServerOption option, int value) {
  static auto* const next = libraryFunction<ServerBuilder&(ServerBuilder*, SyncServerOption, int)>(
      "_ZN4grpc13ServerBuilder19SetSyncServerOptionENS0_16SyncServerOptionEi");
  note(std::string("SetSyncServerOption ") + nameOf(option) + "=" + std::to_string(value));
  return next(this, option, value);
}

ServerBuilder& ServerBuilder::SetResourceQuota(const ResourceQuota& quota) {
  static auto* const next = libraryFunction<ServerBuilder&(ServerBuilder*, const ResourceQuota&)>(
      "_ZN4grpc13ServerBuilder16SetResourceQuotaERKNS_13ResourceQuotaE");
  note("SetResourceQuota");
  return next(this, quota);
}

ServerBuilder& ServerBuilder::RegisterCallbackGenericService(CallbackGenericService* service) {
  static auto* const next = libraryFunction<ServerBuilder&(ServerBuilder*, CallbackGenericService*)>(
      "_ZN4grpc13ServerBuilder30RegisterCallbackGenericServiceEPNS_22CallbackGenericServiceE");
  note("RegisterCallbackGenericService");
  return next(this, service);
}

ServerBuilder& ServerBuilder::SetOption(std::unique_ptr<ServerBuilderOption> option) {
  static auto* const next = libraryFunction<ServerBuilder&(ServerBuilder*, std::unique_ptr<ServerBuilderOption>)>(
      "_ZN4grpc13ServerBuilder9SetOptionESt10unique_ptrINS_19ServerBuilderOptionESt14default_deleteIS2_EE");
  note("SetOption " + argumentOf(*option));
  return next(this, std::move(option));
}

std::unique_ptr<Server> ServerBuilder::BuildAndStart() {
  static auto* const next =
      libraryFunction<std::unique_ptr<Server>(ServerBuilder*)>("_ZN4grpc13ServerBuilder13BuildAndStartEv");
  note("BuildAndStart");
  return next(this);
}

ResourceQuota& ResourceQuota::Resize(std::size_t size) {
  static auto* const next =
      libraryFunction<ResourceQuota&(ResourceQuota*, std::size_t)>("_ZN4grpc13ResourceQuota6ResizeEm");
  note("Resize " + std::to_string(size));
  return next(this, size);
}

ResourceQuota& ResourceQuota::SetMaxThreads(int threads) {
  static auto* const next =
      libraryFunction<ResourceQuota&(ResourceQuota*, int)>("_ZN4grpc13ResourceQuota13SetMaxThreadsEi");
  note("SetMaxThreads " + std::to_string(threads));
  return next(this, threads);
}

}  // namespace grpc

// ---- The C functions beneath them, and the system's ----

extern "C" {

grpc_resource_quota* grpc_resource_quota_create(const char* name) {
  static auto* const next = libraryFunction<grpc_resource_quota*(const char*)>("grpc_resource_quota_create");
  note(std::string("ResourceQuota ") + (name ? name : "without a name"));
  return next(name);
}

void grpc_server_shutdown_and_notify(grpc_server* server, grpc_completion_queue* queue, void* tag) {
  static auto* const next =
      libraryFunction<void(grpc_server*, grpc_completion_queue*, void*)>("grpc_server_shutdown_and_notify");
  note("server shuts down");
  next(server, queue, tag);
}

void grpc_server_cancel_all_calls(grpc_server* server) {
  static auto* const next = libraryFunction<void(grpc_server*)>("grpc_server_cancel_all_calls");
  note("server cancels all calls");
  next(server);
}

void grpc_server_destroy(grpc_server* server) {
  static auto* const next = libraryFunction<void(grpc_server*)>("grpc_server_destroy");
  note("server destroyed");
  next(server);
}

int nanosleep(const timespec* time, timespec* rest) {
  static auto* const next = libraryFunction<int(const timespec*, timespec*)>("nanosleep");
  if (time->tv_sec == 0 && time->tv_nsec == 50'000'000) ++naps;
  return next(time, rest);
}

}  // extern "C"

namespace test {

GrpcCalls::GrpcCalls() {
  const std::lock_guard lock(recorder.mutex);
  recorder.active = true;
  naps = 0;
}

GrpcCalls::~GrpcCalls() {
  const std::lock_guard lock(recorder.mutex);
  recorder.active = false;
  recorder.calls.clear();
  recorder.address.clear();
  recorder.raiseIn.clear();
  recorder.observer = nullptr;
}

std::vector<std::string> GrpcCalls::All() const { return Only({""}); }

std::vector<std::string> GrpcCalls::Only(const std::vector<std::string>& beginnings) const {
  const std::lock_guard lock(recorder.mutex);
  std::vector<std::string> found;
  for (const std::string& call : recorder.calls) {
    const auto begins = [&call](const std::string& beginning) { return call.starts_with(beginning); };
    if (std::any_of(beginnings.begin(), beginnings.end(), begins)) found.push_back(call);
  }
  return found;
}

void GrpcCalls::ListenInsteadOn(const std::string& address) {
  const std::lock_guard lock(recorder.mutex);
  recorder.address = address;
}

void GrpcCalls::RaiseIn(const std::string& beginning, std::function<void()> raise) {
  const std::lock_guard lock(recorder.mutex);
  recorder.raiseIn = beginning;
  recorder.raise = std::move(raise);
}

void GrpcCalls::SetObserver(std::function<void(const std::string&)> observer) {
  const std::lock_guard lock(recorder.mutex);
  recorder.observer = std::move(observer);
}

std::size_t GrpcCalls::Naps() { return naps; }

}  // namespace test
