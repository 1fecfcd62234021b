#pragma once

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/server.h>

#include <cstdint>
#include <memory>

#include "GrpcMetersServiceGeneric.h"
#include "GrpcNotificationsServiceGeneric.h"
#include "PublisherGeneric.h"
#include "corvalux/grpc/streams.pb.h"
#include "corvalux/host.h"

namespace corvalux::grpc {

// ---- Conversion ----

/// The position in a walk over a host list. Lives on the stack of the engine callback that walks the list.
template <typename T>
struct EntryCursor {
  T* target;          ///< a Meter or a Notification
  int32_t index = 0;  ///< the next entry to fill; after the walk, the number of entries visited
};

/// Writes the host's entry into the target's next KeyValue and returns 0. Reuses the KeyValue, its value and its array
/// if the target has them already, so that refilling a message of the same shape allocates nothing.
template <typename T>
int32_t fillKeyValue(const KeyValueEntry* entry, EntryCursor<T>* cursor);

/// Writes the host's value into `value`. An unknown type code leaves `value` unchanged.
void convertValue(const KeyValueEntry* entry, AnyValue* value);

// ---- Callbacks ----

/// [engine-thread] `user` is the GrpcModuleState. They never wait for a client; without subscribers the meter callbacks
/// return after one flag read. A meter callback must not run concurrently with itself: it refills one message.
void meterFastCallback(KeyValueList meters, void* user);
void meterSlowCallback(KeyValueList meters, void* user);
/// Converts every list, even without subscribers. May run concurrently with itself.
void notifyChangesCallback(KeyValueList changes, void* user);

// ---- Router ----

/// The server's only service: routes each call to a service by the prefix of its method.
/// Threads: CreateReactor on gRPC threads, several at once; CloseStreams and the destructor on the host's thread.
/// Locks: none of its own. CloseStreams takes a service's mutex for each check, never while it sleeps.
class GrpcGenericRouter final : public ::grpc::CallbackGenericService {
 public:
  /// Either service may be null: its methods are then answered with UNIMPLEMENTED.
  GrpcGenericRouter(std::shared_ptr<GrpcMetersServiceGeneric> metersService,
                    std::shared_ptr<GrpcNotificationsServiceGeneric> notificationsService);
  ~GrpcGenericRouter() override;

  ::grpc::ServerGenericBidiReactor* CreateReactor(::grpc::GenericCallbackServerContext* context) override;

  /// Ends every stream with CANCELLED, refuses new ones, and waits for the streams to end: up to 2 s for each service,
  /// polling every 50 ms; then gives up silently. Returns whether every stream has ended. A no-op once they have.
  bool CloseStreams() noexcept;

 private:
  const std::shared_ptr<GrpcMetersServiceGeneric> metersService;
  const std::shared_ptr<GrpcNotificationsServiceGeneric> notificationsService;
};

// ---- State ----

/// A running instance. Created by startCycle, kept in the host record's slot, freed by stopCycle. The user pointer of
/// every engine callback. Members are destroyed from the last to the first, and their order is fixed
/// (docs/decisions/0011).
struct GrpcModuleState {
  Meter fastMeter;  ///< used by meterFastCallback only, which refills it
  Meter slowMeter;  ///< used by meterSlowCallback only, which refills it
  EngineHandle fastEngine = nullptr;
  EngineHandle slowEngine = nullptr;
  CallbackHandle fastRegistration = nullptr;
  CallbackHandle slowRegistration = nullptr;
  EngineHandle changeEngine = nullptr;
  CallbackHandle changeRegistration = nullptr;
  std::shared_ptr<GrpcGenericRouter> router;
  std::unique_ptr<::grpc::Server> server;
  std::unique_ptr<PublisherGeneric<Meter>> fastPublisher = std::make_unique<PublisherGeneric<Meter>>();
  std::unique_ptr<PublisherGeneric<Meter>> slowPublisher = std::make_unique<PublisherGeneric<Meter>>();
  std::unique_ptr<PublisherGeneric<Notification>> changePublisher = std::make_unique<PublisherGeneric<Notification>>();
};

// ---- Start and stop: what the descriptor offers, see PluginEntry in corvalux/host.h ----

int32_t startCycle(HostModuleRecord* record, KeyValueList config) noexcept;
void stopCycle(HostModuleRecord* record) noexcept;

}  // namespace corvalux::grpc
