#include "GrpcMetersServiceGeneric.h"

#include "Log.h"

namespace corvalux::grpc {

GrpcMetersServiceGeneric::~GrpcMetersServiceGeneric() { CORVALUX_LOG(logDetail, "destroying gRPC Meters service"); }

::grpc::ServerGenericBidiReactor* GrpcMetersServiceGeneric::CreateReactor(
    ::grpc::GenericCallbackServerContext* context) {
  if (context->method() == "/corvalux.grpc.Meters/GetMetersFast") return CreateStream(fastPublisher);
  if (context->method() == "/corvalux.grpc.Meters/GetMetersSlow") return CreateStream(slowPublisher);
  return CallbackGenericService::CreateReactor(context);
}

}  // namespace corvalux::grpc
