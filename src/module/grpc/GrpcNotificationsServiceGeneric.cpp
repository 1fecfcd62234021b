#include "GrpcNotificationsServiceGeneric.h"

#include "Log.h"

namespace corvalux::grpc {

GrpcNotificationsServiceGeneric::~GrpcNotificationsServiceGeneric() {
  CORVALUX_LOG(logDetail, "destroying gRPC Notifications service");
}

::grpc::ServerGenericBidiReactor* GrpcNotificationsServiceGeneric::CreateReactor(
    ::grpc::GenericCallbackServerContext* context) {
  if (context->method() == "/corvalux.grpc.Notifications/GetNotifications") return CreateStream(publisher);
  return CallbackGenericService::CreateReactor(context);
}

}  // namespace corvalux::grpc
