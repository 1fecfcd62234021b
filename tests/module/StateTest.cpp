// What an instance holds: in which order it is freed, and what a start does with a registration that it finds.
#include <gmock/gmock.h>

#include "module/Journal.h"
#include "module/RecordedTest.h"
#include "module/grpc/grpc.h"
#include "sim/Log.h"

namespace {

using corvalux::grpc::GrpcModuleState;
using test::Texts;
using testing::ElementsAre;

class State : public test::RecordedTest {
 protected:
  GrpcModuleState& Held() const { return *static_cast<GrpcModuleState*>(Slot()); }

  /// Puts a registration of each kind into the state, before the start makes its own.
  void RegisterAll(sim::Engine& other) {
    const EngineCallback ignore = [](KeyValueList, void*) {};
    GrpcModuleState& state = Held();
    state.fastEngine = state.slowEngine = state.changeEngine = &other;
    state.fastRegistration = corvalux_engine_addCallbackMeterManager(&other, 1, ignore, &state);
    state.slowRegistration = corvalux_engine_addCallbackMeterManager(&other, 0, ignore, &state);
    state.changeRegistration = corvalux_engine_notify_changes_addCallback(&other, ignore, &state);
  }
};

TEST_F(State, IsFreedPublishersFirstThenServerThenItself) {
  StartModule();
  test::Journal journal(engine, grpc);
  journal.Watch(&Held(), "state");
  journal.Watch(Held().server.get(), "server");
  journal.Watch(Held().fastPublisher.get(), "fast publisher");
  journal.Watch(Held().slowPublisher.get(), "slow publisher");
  journal.Watch(Held().changePublisher.get(), "change publisher");
  instance.Stop();
  EXPECT_THAT(journal.Entries(),
              ElementsAre("2 stopCycle(grpc)", "remove meterSlow", "remove meterFast", "remove changes",
                          "server shuts down", "1 destroying gRPC Notifications service",
                          "1 destroying gRPC Meters service", "change publisher freed", "slow publisher freed",
                          "fast publisher freed", "server destroyed", "server freed", "state freed"));
}

TEST_F(State, FreesTheSlowMetersBeforeTheFastOnes) {
  StartModule();
  const auto* const slow = Held().slowMeter.add_entries();
  const auto* const fast = Held().fastMeter.add_entries();
  test::Journal journal(engine, grpc);
  journal.Watch(fast, "fast meter");
  journal.Watch(slow, "slow meter");
  journal.Watch(&Held(), "state");
  instance.Stop();
  const Texts entries = journal.Entries();
  ASSERT_GE(entries.size(), 4U);
  EXPECT_THAT(Texts(entries.end() - 4, entries.end()),
              ElementsAre("server destroyed", "slow meter freed", "fast meter freed", "state freed"));
}

TEST_F(State, RegistrationThatItHoldsIsRemovedBeforeANewOneIsMade) {
  sim::Engine other;
  test::Journal journal(engine, grpc);
  sim::setLogSink([&](const sim::LogLine& line) {
    if (line.text.starts_with("Server listening on")) RegisterAll(other);
  });
  bool eachRemovedFirst = true;
  engine.SetRegistrationObserver([&](sim::Event, const void*) {
    eachRemovedFirst = eachRemovedFirst && other.Registrations() + engine.Registrations() == 3;
  });
  StartModule();
  EXPECT_TRUE(eachRemovedFirst);
  EXPECT_THAT(other.Calls(), ElementsAre("add meterFast", "add meterSlow", "add changes", "remove meterFast",
                                         "remove meterSlow", "remove changes"));
  EXPECT_THAT(engine.Calls(), ElementsAre("add meterFast", "add meterSlow", "add changes"));
}

}  // namespace
