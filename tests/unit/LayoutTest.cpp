// The orders of bases, virtual functions and fields: also of what is freed first, as the last field is.
#include <gmock/gmock.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "module/grpc/grpc.h"

namespace corvalux::grpc {

namespace {

using Fields = std::vector<const void*>;
using Publisher = PublisherGeneric<Meter>;
using Reactor = WriterReactorGeneric<Meter>;
using Owner = ReactorOwnerGeneric<Meter>;
using Meters = GrpcMetersServiceGeneric;
using Notifications = GrpcNotificationsServiceGeneric;

// An explicit instantiation may name private members, too.
Fields fieldsOf(const Publisher& object);
Fields fieldsOf(const Reactor& object);
Fields fieldsOf(const Owner& object);
Fields fieldsOf(const Meters& object);
Fields fieldsOf(const Notifications& object);
Fields fieldsOf(const GrpcGenericRouter& object);

template <typename Class, auto... fields>
struct Access {
  friend Fields fieldsOf(const Class& object) { return {static_cast<const void*>(&(object.*fields))...}; }
};

template struct Access<Publisher, &Publisher::reactors, &Publisher::hasSubscribers, &Publisher::mutex>;
template struct Access<Reactor, &Reactor::pendingQueue, &Reactor::inFlight, &Reactor::finished, &Reactor::mutex,
                       &Reactor::publisher, &Reactor::owner, &Reactor::keepLatestOnly, &Reactor::writeOptions>;
template struct Access<Owner, &Owner::reactors, &Owner::mutex, &Owner::closing>;
template struct Access<Meters, &Meters::texts, &Meters::fastPublisher, &Meters::slowPublisher>;
template struct Access<Notifications, &Notifications::texts, &Notifications::publisher>;
template struct Access<GrpcGenericRouter, &GrpcGenericRouter::metersService, &GrpcGenericRouter::notificationsService>;

/// Where a virtual function stands in the table of its class, compared with the others. A member pointer begins with
/// that.
template <typename Member>
std::uintptr_t slotOf(Member member) {
  std::uintptr_t slot = 0;
  std::memcpy(&slot, &member, sizeof slot);
  return slot;
}

/// Where the base is in the object.
template <typename Base, typename Class>
std::ptrdiff_t placeOf(const Class& object) {
  const Base* base = &object;
  return reinterpret_cast<const char*>(base) - reinterpret_cast<const char*>(&object);
}

template <typename Container>
void expectInOrder(const Container& places) {
  for (std::size_t i = 1; i < places.size(); ++i) EXPECT_LT(places[i - 1], places[i]) << i;
}

class Layout : public testing::Test {
 protected:
  Publisher publisher;
  PublisherGeneric<Notification> changes;
  const std::shared_ptr<Meters> meters = std::make_shared<Meters>(&publisher, &publisher);
  const std::shared_ptr<Notifications> notifications = std::make_shared<Notifications>(&changes);
  const std::unique_ptr<Reactor> reactor = std::make_unique<Reactor>(&publisher, meters);
};

TEST_F(Layout, StateHoldsItsFieldsInOrder) {
  const GrpcModuleState state;
  expectInOrder(Fields{&state.fastMeter, &state.slowMeter, &state.fastEngine, &state.slowEngine,
                       &state.fastRegistration, &state.slowRegistration, &state.changeEngine, &state.changeRegistration,
                       &state.router, &state.server, &state.fastPublisher, &state.slowPublisher,
                       &state.changePublisher});
}

TEST_F(Layout, PublisherHoldsItsFieldsInOrder) { expectInOrder(fieldsOf(publisher)); }

TEST_F(Layout, ReactorHoldsItsFieldsInOrder) { expectInOrder(fieldsOf(*reactor)); }

TEST_F(Layout, ReactorIsAWriterFirst) {
  EXPECT_EQ(placeOf<WriterGeneric>(*reactor), 0);
  EXPECT_GT(placeOf<::grpc::ServerGenericBidiReactor>(*reactor), 0);
}

TEST_F(Layout, ReactorOffersItsFunctionsInOrder) {
  expectInOrder(std::vector{slotOf(&Reactor::Write), slotOf(&Reactor::OnWriteDone), slotOf(&Reactor::OnDone),
                            slotOf(&Reactor::OnCancel), slotOf(&Reactor::OnReadDone)});
}

TEST_F(Layout, ServicesAreTheLibrarysFirst) {
  EXPECT_EQ(placeOf<::grpc::CallbackGenericService>(*meters), 0);
  EXPECT_GT(placeOf<Owner>(*meters), 0);
  EXPECT_EQ(placeOf<::grpc::CallbackGenericService>(*notifications), 0);
  EXPECT_GT(placeOf<ReactorOwnerGeneric<Notification>>(*notifications), 0);
}

TEST_F(Layout, ServicesHoldTheirFieldsInOrder) {
  expectInOrder(fieldsOf(static_cast<const Owner&>(*meters)));
  expectInOrder(fieldsOf(*meters));
  expectInOrder(fieldsOf(*notifications));
}

TEST_F(Layout, EachServiceHoldsTheThreeTexts) {
  for (const void* place : {fieldsOf(*meters).front(), fieldsOf(*notifications).front()}) {
    const auto& texts = *static_cast<const ServiceTexts*>(place);
    EXPECT_EQ(texts.internalError, "Internal server exception");
    EXPECT_EQ(texts.invalidParameters, "Invalid parameters");
    EXPECT_EQ(texts.operationFailed, "Operation failed");
  }
}

TEST_F(Layout, RouterHoldsTheMetersServiceFirst) { expectInOrder(fieldsOf(GrpcGenericRouter(meters, notifications))); }

}  // namespace

}  // namespace corvalux::grpc
