#pragma once

#include <grpcpp/generic/async_generic_service.h>

#include "PublisherGeneric.h"
#include "ReactorOwnerGeneric.h"
#include "WriterReactorGeneric.h"
#include "corvalux/grpc/streams.pb.h"

namespace corvalux::grpc {

/// The service "corvalux.grpc.Meters": one stream for each call of GetMetersFast or GetMetersSlow.
/// Threads, locks and errors: see ReactorOwnerGeneric.
/// Ownership: shared by the router and by every stream it created; the publishers must outlive the streams.
class GrpcMetersServiceGeneric final : public ::grpc::CallbackGenericService, public ReactorOwnerGeneric<Meter> {
 public:
  GrpcMetersServiceGeneric(PublisherGeneric<Meter>* fastPublisher, PublisherGeneric<Meter>* slowPublisher)
      : fastPublisher(fastPublisher), slowPublisher(slowPublisher) {}
  ~GrpcMetersServiceGeneric() override;

  /// A subscribed stream; a reactor that answers UNIMPLEMENTED for any other method name; null while closing.
  ::grpc::ServerGenericBidiReactor* CreateReactor(::grpc::GenericCallbackServerContext* context) override;

 private:
  ServiceTexts texts;
  PublisherGeneric<Meter>* const fastPublisher;
  PublisherGeneric<Meter>* const slowPublisher;
};

}  // namespace corvalux::grpc
