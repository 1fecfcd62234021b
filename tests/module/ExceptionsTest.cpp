// Exceptions during the start: none leaves the module, and stop finds what they leave behind.
#include <gmock/gmock.h>

#include <new>
#include <ostream>
#include <stdexcept>

#include "module/Journal.h"
#include "module/RecordedTest.h"

namespace {

using test::Texts;
using testing::ElementsAre;
using testing::IsEmpty;

class Exceptions : public test::RecordedTest, public testing::WithParamInterface<std::string> {
 protected:
  /// A start that takes every step.
  int32_t StartWithEverything() {
    return StartWith({{"grpc_num_cqs", 1}, {"grpc_min_pollers", 1}, {"quota_new_max_threads", 2}});
  }

  /// What a start that raised leaves: the state in the slot, no server, no registration; and stop frees it.
  void ExpectStopFreesTheState() {
    EXPECT_NE(Slot(), nullptr);
    EXPECT_FALSE(Listening());
    EXPECT_THAT(engine.Calls(), IsEmpty());
    log.Clear();
    instance.Stop();
    EXPECT_THAT(log.Texts(), ElementsAre("2 stopCycle(grpc)", "1 destroying gRPC Notifications service",
                                         "1 destroying gRPC Meters service"));
    EXPECT_EQ(Slot(), nullptr);
  }
};

TEST_P(Exceptions, OfTheStandardAreLoggedWithTheirText) {
  grpc.RaiseIn(GetParam(), [] { throw std::runtime_error("out of 100% of luck"); });
  EXPECT_EQ(StartWithEverything(), -1);
  EXPECT_EQ(log.Texts().back(), "1 C++ exception in grpc: out of 100% of luck");
  EXPECT_EQ(log.Lines().back().format, "C++ exception in grpc: %s");
  EXPECT_EQ(log.Count(4, ""), 0U);
  ExpectStopFreesTheState();
}

TEST_P(Exceptions, OfOtherTypesAreLoggedWithoutText) {
  grpc.RaiseIn(GetParam(), [] { throw 7; });
  EXPECT_EQ(StartWithEverything(), -1);
  EXPECT_EQ(log.Texts().back(), "3 C++ exception in grpc");
  EXPECT_EQ(log.Count(4, ""), 0U);
  ExpectStopFreesTheState();
}

INSTANTIATE_TEST_SUITE_P(In, Exceptions,
                         testing::Values("AddListeningPort", "SetMaxThreads", "Resize", "SetResourceQuota",
                                         "SetSyncServerOption", "RegisterCallbackGenericService", "SetOption",
                                         "BuildAndStart"));

TEST_F(Exceptions, OfTypesDerivedFromTheStandardsAreLoggedWithTheirText) {
  grpc.RaiseIn("BuildAndStart", [] { throw std::bad_alloc(); });
  EXPECT_EQ(StartWithEverything(), -1);
  EXPECT_EQ(log.Texts().back(), "1 C++ exception in grpc: std::bad_alloc");
}

TEST_F(Exceptions, LeaveAStateThatASecondStartDoesNotLookAt) {
  grpc.RaiseIn("BuildAndStart", [] { throw 7; });
  EXPECT_EQ(StartWithEverything(), -1);
  void* const first = Slot();
  grpc.RaiseIn("", {});
  EXPECT_EQ(StartWithEverything(), 0);
  EXPECT_NE(Slot(), first);
  EXPECT_TRUE(Listening());
  instance.Stop();
  instance.record.moduleSlot = first;  // else it leaks
}

TEST_F(Exceptions, OfARemovalAfterAFailedStartKeepTheStateForStop) {
  engine.RefuseRegistration(3);
  engine.RaiseInRemoval([] { throw std::runtime_error("no memory"); });
  EXPECT_EQ(StartWith({}), -1);
  EXPECT_EQ(log.Texts().back(), "1 C++ exception in grpc: no memory");
  EXPECT_NE(Slot(), nullptr);
  EXPECT_EQ(engine.Registrations(), 2U);
  instance.Stop();
  EXPECT_EQ(engine.Registrations(), 0U);
  EXPECT_EQ(Slot(), nullptr);
  EXPECT_FALSE(Listening());
}

// ---- Once the server runs ----

struct Raised {
  int nth;  // registration
  Texts kept;
  Texts removed;
};

void PrintTo(const Raised& raised, std::ostream* out) { *out << raised.nth; }

class ExceptionsAtARegistration : public test::RecordedTest, public testing::WithParamInterface<Raised> {
 protected:
  void SetUp() override {
    engine.RaiseInRegistration(GetParam().nth, [] { throw std::runtime_error("no memory"); });
    ASSERT_EQ(StartWith({}), -1);
  }
};

TEST_P(ExceptionsAtARegistration, KeepTheStateTheServerAndWhatWasRegistered) {
  EXPECT_EQ(log.Texts().back(), "1 C++ exception in grpc: no memory");
  EXPECT_EQ(log.Count(4, ""), 0U);
  EXPECT_NE(Slot(), nullptr);
  EXPECT_TRUE(Listening());
  EXPECT_EQ(engine.Calls(), GetParam().kept);
  EXPECT_EQ(engine.Registrations(), GetParam().kept.size() - 1);
}

TEST_P(ExceptionsAtARegistration, AreClearedByStop) {
  test::Journal journal(engine, grpc);
  instance.Stop();
  Texts expected = {"2 stopCycle(grpc)"};
  expected.insert(expected.end(), GetParam().removed.begin(), GetParam().removed.end());
  expected.insert(expected.end(), {"server shuts down", "1 destroying gRPC Notifications service",
                                   "1 destroying gRPC Meters service", "server destroyed"});
  EXPECT_EQ(journal.Entries(), expected);
  EXPECT_EQ(Slot(), nullptr);
  EXPECT_FALSE(Listening());
}

INSTANTIATE_TEST_SUITE_P(OfTheNth, ExceptionsAtARegistration,
                         testing::Values(Raised{1, {"refuse meterFast"}, {}},
                                         Raised{2, {"add meterFast", "refuse meterSlow"}, {"remove meterFast"}},
                                         Raised{3,
                                                {"add meterFast", "add meterSlow", "refuse changes"},
                                                {"remove meterSlow", "remove meterFast"}}));

}  // namespace
