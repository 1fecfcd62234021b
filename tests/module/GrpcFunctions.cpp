// The functions of the gRPC library whose calls are recorded, and the system's sleep. Each passes the call on.
#include <grpc/grpc.h>
#include <grpc/support/time.h>
#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/impl/server_builder_option.h>
#include <grpcpp/resource_quota.h>
#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server_builder.h>
#include <grpcpp/support/channel_arguments.h>

#include <ctime>
#include <utility>

#include "module/GrpcCalls.h"
#include "module/LibraryFunction.h"

namespace {

using test::GrpcCalls;
using test::libraryFunction;

thread_local const ::grpc::ServerCredentials* insecure = nullptr;
thread_local const ::grpc_completion_queue* shutdownQueue = nullptr;

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

/// How far a deadline is ahead.
std::chrono::duration<double> timeLeft(gpr_timespec deadline) {
  const gpr_timespec left = gpr_time_sub(deadline, gpr_now(deadline.clock_type));
  return std::chrono::duration<double>(static_cast<double>(left.tv_sec) + left.tv_nsec / 1e9);
}

}  // namespace

// ---- The library's C++ functions ----

namespace grpc {

std::shared_ptr<ServerCredentials> InsecureServerCredentials() {
  static auto* const next = libraryFunction(&InsecureServerCredentials);
  auto credentials = next();
  insecure = credentials.get();
  return credentials;
}

ServerBuilder& ServerBuilder::AddListeningPort(const std::string& address,
                                               std::shared_ptr<ServerCredentials> credentials, int* selectedPort) {
  static auto* const next = libraryFunction(&ServerBuilder::AddListeningPort, this);
  GrpcCalls::Note("AddListeningPort " + address + (credentials.get() == insecure ? "" : " with other credentials") +
                  (selectedPort ? " asking for the port" : ""));
  return next(this, GrpcCalls::ListeningAddress(address), std::move(credentials), selectedPort);
}

ServerBuilder& ServerBuilder::SetSyncServerOption(SyncServerOption option, int value) {
  static auto* const next = libraryFunction(&ServerBuilder::SetSyncServerOption, this);
  GrpcCalls::Note(std::string("SetSyncServerOption ") + nameOf(option) + "=" + std::to_string(value));
  return next(this, option, value);
}

ServerBuilder& ServerBuilder::SetResourceQuota(const ResourceQuota& quota) {
  static auto* const next = libraryFunction(&ServerBuilder::SetResourceQuota, this);
  GrpcCalls::Note("SetResourceQuota");
  return next(this, quota);
}

ServerBuilder& ServerBuilder::RegisterCallbackGenericService(CallbackGenericService* service) {
  static auto* const next = libraryFunction(&ServerBuilder::RegisterCallbackGenericService, this);
  GrpcCalls::Note("RegisterCallbackGenericService");
  return next(this, service);
}

ServerBuilder& ServerBuilder::SetOption(std::unique_ptr<ServerBuilderOption> option) {
  static auto* const next = libraryFunction(&ServerBuilder::SetOption, this);
  GrpcCalls::Note("SetOption " + argumentOf(*option));
  return next(this, std::move(option));
}

std::unique_ptr<Server> ServerBuilder::BuildAndStart() {
  static auto* const next = libraryFunction(&ServerBuilder::BuildAndStart, this);
  GrpcCalls::Note("BuildAndStart");
  return next(this);
}

ResourceQuota& ResourceQuota::Resize(std::size_t size) {
  static auto* const next = libraryFunction(&ResourceQuota::Resize, this);
  GrpcCalls::Note("Resize " + std::to_string(size));
  return next(this, size);
}

ResourceQuota& ResourceQuota::SetMaxThreads(int threads) {
  static auto* const next = libraryFunction(&ResourceQuota::SetMaxThreads, this);
  GrpcCalls::Note("SetMaxThreads " + std::to_string(threads));
  return next(this, threads);
}

}  // namespace grpc

// ---- The C functions beneath them, and the system's ----

extern "C" {

grpc_resource_quota* grpc_resource_quota_create(const char* name) {
  static auto* const next = libraryFunction(&grpc_resource_quota_create);
  GrpcCalls::Note(std::string("ResourceQuota ") + (name ? name : "without a name"));
  return next(name);
}

void grpc_server_shutdown_and_notify(grpc_server* server, grpc_completion_queue* queue, void* tag) {
  static auto* const next = libraryFunction(&grpc_server_shutdown_and_notify);
  GrpcCalls::Note("server shuts down");
  shutdownQueue = queue;
  next(server, queue, tag);
}

/// Called with the queue of its notification, this is the library's wait for a server that it shuts down.
grpc_event grpc_completion_queue_next(grpc_completion_queue* queue, gpr_timespec deadline, void* reserved) {
  static auto* const next = libraryFunction(&grpc_completion_queue_next);
  if (queue == shutdownQueue) {
    shutdownQueue = nullptr;
    GrpcCalls::NoteShutdownWait({deadline.clock_type, timeLeft(deadline)});
  }
  return next(queue, deadline, reserved);
}

void grpc_server_cancel_all_calls(grpc_server* server) {
  static auto* const next = libraryFunction(&grpc_server_cancel_all_calls);
  GrpcCalls::Note("server cancels all calls");
  next(server);
}

void grpc_server_destroy(grpc_server* server) {
  static auto* const next = libraryFunction(&grpc_server_destroy);
  GrpcCalls::Note("server destroyed");
  next(server);
}

int nanosleep(const timespec* time, timespec* rest) {
  static auto* const next = libraryFunction(&nanosleep);
  GrpcCalls::NoteSleep(*time);
  return next(time, rest);
}

}  // extern "C"
