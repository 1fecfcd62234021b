#pragma once

#include <grpcpp/generic/async_generic_service.h>

#include "PublisherGeneric.h"
#include "ReactorOwnerGeneric.h"
#include "WriterReactorGeneric.h"
#include "corvalux/grpc/streams.pb.h"

namespace corvalux::grpc {

/// The service "corvalux.grpc.Notifications": one stream for each call of GetNotifications.
/// Threads, locks and errors: see ReactorOwnerGeneric.
/// Ownership: shared by the router and by every stream it created; the publisher must outlive the streams.
class GrpcNotificationsServiceGeneric final : public ::grpc::CallbackGenericService,
                                              public ReactorOwnerGeneric<Notification> {
 public:
  explicit GrpcNotificationsServiceGeneric(PublisherGeneric<Notification>* publisher) : publisher(publisher) {}
  ~GrpcNotificationsServiceGeneric() override;

  /// A subscribed stream; a reactor that answers UNIMPLEMENTED for any other method name; null while closing.
  ::grpc::ServerGenericBidiReactor* CreateReactor(::grpc::GenericCallbackServerContext* context) override;

 private:
  ServiceTexts texts;
  PublisherGeneric<Notification>* const publisher;
};

}  // namespace corvalux::grpc
