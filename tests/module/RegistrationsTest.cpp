// The three engine callbacks: registered last, removed first, refused or not.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <ostream>

#include "module/Journal.h"
#include "module/RecordedTest.h"
#include "sim/Ticker.h"

namespace {

using sim::Event;
using test::Texts;
using testing::ElementsAre;

class Registrations : public test::RecordedTest {};

TEST_F(Registrations, AreMadeFastSlowChangesOnceTheServerListens) {
  test::Journal journal(engine, grpc);
  StartModule();
  const Texts entries = journal.Entries();
  ASSERT_GE(entries.size(), 4U);
  EXPECT_THAT(Texts(entries.end() - 4, entries.end()),
              ElementsAre("1 Server listening on " + address, "add meterFast", "add meterSlow", "add changes"));
}

TEST_F(Registrations, CarryTheStateAsUser) {
  std::vector<const void*> users;
  engine.SetRegistrationObserver([&](Event, const void* user) { users.push_back(user); });
  StartModule();
  EXPECT_THAT(users, ElementsAre(Slot(), Slot(), Slot()));
}

TEST_F(Registrations, GoToTheEngineThatTheRecordHoldsAtThatMoment) {
  sim::Engine second;
  sim::Engine third;
  engine.SetRegistrationObserver([&](Event, const void*) { instance.record.engine = &second; });
  second.SetRegistrationObserver([&](Event, const void*) { instance.record.engine = &third; });
  StartModule();
  EXPECT_THAT(engine.Calls(), ElementsAre("add meterFast"));
  EXPECT_THAT(second.Calls(), ElementsAre("add meterSlow"));
  EXPECT_THAT(third.Calls(), ElementsAre("add changes"));
  instance.Stop();
}

TEST_F(Registrations, AreRemovedFromTheEngineThatTheyWereMadeWith) {
  sim::Engine second;
  engine.SetRegistrationObserver([&](Event, const void*) { instance.record.engine = &second; });
  StartModule();
  instance.record.engine = nullptr;
  instance.Stop();
  EXPECT_THAT(engine.Calls(), ElementsAre("add meterFast", "remove meterFast"));
  EXPECT_THAT(second.Calls(), ElementsAre("add meterSlow", "add changes", "remove meterSlow", "remove changes"));
}

TEST_F(Registrations, MadeWithANullEngineAreNotRemoved) {
  sim::Engine unnamed;
  sim::setUnnamedEngine(&unnamed);
  instance.record.engine = nullptr;
  StartModule();
  EXPECT_THAT(unnamed.Calls(), ElementsAre("add meterFast", "add meterSlow", "add changes"));
  instance.Stop();
  EXPECT_EQ(unnamed.Calls().size(), 3U);
  EXPECT_EQ(Slot(), nullptr);
  sim::setUnnamedEngine(nullptr);
}

TEST_F(Registrations, MayBeCalledBeforeTheEngineReturns) {
  std::atomic<int> calls = 0;
  engine.SetCallObserver([&](Event, std::chrono::nanoseconds) { ++calls; });
  engine.SetRegistrationObserver([&](Event event, const void*) { engine.Emit(event, {{"level", -20.0F}}); });
  StartModule();
  EXPECT_EQ(calls, 3);
}

TEST_F(Registrations, AreRemovedSlowFastChangesBeforeAllElse) {
  StartModule();
  test::Journal journal(engine, grpc);
  instance.Stop();
  const Texts entries = journal.Entries();
  ASSERT_GE(entries.size(), 4U);
  EXPECT_THAT(Texts(entries.begin(), entries.begin() + 4),
              ElementsAre("2 stopCycle(grpc)", "remove meterSlow", "remove meterFast", "remove changes"));
}

TEST_F(Registrations, AreNotCalledAfterTheStop) {
  std::atomic<int> calls = 0;
  engine.SetCallObserver([&](Event, std::chrono::nanoseconds) { ++calls; });
  const auto emit = [&](Event event) {
    return [this, event] { engine.Emit(event, {{"level", -20.0F}, {"name", std::string("bus 1")}}); };
  };
  const sim::Ticker fast(std::chrono::microseconds(200), emit(Event::meterFast));
  const sim::Ticker slow(std::chrono::microseconds(300), emit(Event::meterSlow));
  const sim::Ticker changes(std::chrono::microseconds(250), emit(Event::changes));
  for (int i = 0; i < 10; ++i) {
    StartModule();
    const int before = calls;
    EXPECT_TRUE(test::eventually([&] { return calls > before; }));
    instance.Stop();
    EXPECT_EQ(engine.Registrations(), 0U);
  }
}

// ---- Refusals ----

struct Refusal {
  int nth;
  std::string error;
  Texts calls;
};

void PrintTo(const Refusal& refusal, std::ostream* out) { *out << refusal.nth; }

class Refusals : public Registrations, public testing::WithParamInterface<Refusal> {};

TEST_P(Refusals, FailTheStart) {
  engine.RefuseRegistration(GetParam().nth);
  EXPECT_EQ(StartWith({}), -1);
  const Texts lines = log.Texts();
  ASSERT_EQ(lines.size(), 9U);
  EXPECT_THAT(Texts(lines.begin() + 4, lines.end()),
              ElementsAre("1 Server listening on " + address, "4 " + GetParam().error, "4 gRPC module error starting",
                          "1 destroying gRPC Notifications service", "1 destroying gRPC Meters service"));
  EXPECT_EQ(engine.Calls(), GetParam().calls);
  EXPECT_EQ(Slot(), nullptr);
  EXPECT_FALSE(Listening()) << "the server is still there";
}

TEST_P(Refusals, UndoWhatWasMadeBeforeTheServerGoes) {
  engine.RefuseRegistration(GetParam().nth);
  test::Journal journal(engine, grpc);
  EXPECT_EQ(StartWith({}), -1);
  const Texts entries = journal.Entries();
  const auto error = std::find(entries.begin(), entries.end(), "4 gRPC module error starting");
  Texts expected = {"4 gRPC module error starting"};
  for (const std::string& call : GetParam().calls) {
    if (call.starts_with("remove")) expected.push_back(call);
  }
  expected.insert(expected.end(), {"server shuts down", "1 destroying gRPC Notifications service",
                                   "1 destroying gRPC Meters service", "server destroyed"});
  EXPECT_EQ(Texts(error, entries.end()), expected);
}

TEST_P(Refusals, LeaveNothingForStop) {
  engine.RefuseRegistration(GetParam().nth);
  EXPECT_EQ(StartWith({}), -1);
  log.Clear();
  instance.Stop();
  EXPECT_THAT(log.Texts(), ElementsAre("2 stopCycle(grpc)"));
  EXPECT_EQ(engine.Calls(), GetParam().calls);
}

TEST_P(Refusals, CanBeFollowedByAStartThatSucceeds) {
  engine.RefuseRegistration(GetParam().nth);
  EXPECT_EQ(StartWith({}), -1);
  EXPECT_EQ(StartWith({}), 0);
  EXPECT_TRUE(Listening());
}

INSTANTIATE_TEST_SUITE_P(OfTheNth, Refusals,
                         testing::Values(Refusal{1, "cannot register meter fast callback", {"refuse meterFast"}},
                                         Refusal{2,
                                                 "cannot register meter slow callback",
                                                 {"add meterFast", "refuse meterSlow", "remove meterFast"}},
                                         Refusal{3,
                                                 "cannot register meter slow callback",
                                                 {"add meterFast", "add meterSlow", "refuse changes",
                                                  "remove meterSlow", "remove meterFast"}}));

}  // namespace
