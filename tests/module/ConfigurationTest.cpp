// What each configuration key does: to the log, and to the server that is built.
#include <gmock/gmock.h>

#include <ostream>
#include <utility>

#include "module/RecordedTest.h"

namespace {

using test::Texts;
using testing::ElementsAre;
using testing::IsEmpty;

class Configuration : public test::RecordedTest {
 protected:
  Texts Options() const { return grpc.Only({"SetSyncServerOption"}); }
  Texts Quota() const { return grpc.Only({"SetMaxThreads", "Resize"}); }
};

TEST_F(Configuration, NullListTakesAllDefaultsSilently) {
  grpc.ListenInsteadOn(address);
  ASSERT_EQ(instance.StartWithoutConfig(), 0);
  EXPECT_THAT(log.Texts(),
              ElementsAre("1 startCycle(grpc, (nil))", "2 grpc: creating services for gRPC callback APIs..",
                          "1 AddListening on 0.0.0.0:50005", "1 Server listening on 0.0.0.0:50005"));
  EXPECT_THAT(grpc.Only({"AddListeningPort"}), ElementsAre("AddListeningPort 0.0.0.0:50005"));
  EXPECT_THAT(Quota(), ElementsAre("Resize 1048576"));
  EXPECT_THAT(Options(), IsEmpty());
}

TEST_F(Configuration, EmptyListTakesAllDefaultsSilently) {
  grpc.ListenInsteadOn(address);
  ASSERT_EQ(instance.Start(sim::KeyValues{}), 0);
  EXPECT_THAT(SettingLines(), IsEmpty());
  EXPECT_THAT(grpc.Only({"AddListeningPort"}), ElementsAre("AddListeningPort 0.0.0.0:50005"));
  EXPECT_THAT(Quota(), ElementsAre("Resize 1048576"));
  EXPECT_THAT(Options(), IsEmpty());
}

TEST_F(Configuration, EveryKeyIsLoggedInTheModulesOrderNotTheLists) {
  ASSERT_EQ(instance.Start({{"quota_new_max_threads", 9},
                            {"grpc_cq_timeout_ms", 250},
                            {"grpc_max_pollers", 4},
                            {"grpc_min_pollers", 2},
                            {"grpc_memory_kb", 2048},
                            {"grpc_num_cqs", 3},
                            {"serverUrl", address}}),
            0);
  const Texts lines = log.Texts();
  ASSERT_GE(lines.size(), 9U);
  EXPECT_EQ(lines[1], "1 serverUrl: " + address);
  EXPECT_THAT(SettingLines(),
              ElementsAre("1 grpc_num_cqs: 3", "1 grpc_memory_kb: 2048", "1 grpc_min_pollers: 2",
                          "1 grpc_max_pollers: 4", "1 grpc_cq_timeout_ms: 250", "1 quota_new_max_threads: 9"));
  EXPECT_EQ(lines[8], "2 grpc: creating services for gRPC callback APIs..");
}

TEST_F(Configuration, TheServerIsBuiltInOneOrder) {
  ASSERT_EQ(StartWith({{"grpc_num_cqs", 3},
                       {"grpc_memory_kb", 2048},
                       {"grpc_min_pollers", 2},
                       {"grpc_max_pollers", 4},
                       {"grpc_cq_timeout_ms", 250},
                       {"quota_new_max_threads", 9}}),
            0);
  EXPECT_THAT(grpc.All(), ElementsAre("AddListeningPort " + address, "ResourceQuota resource-quota", "SetMaxThreads 9",
                                      "Resize 2097152", "SetResourceQuota", "SetSyncServerOption NUM_CQS=3",
                                      "SetSyncServerOption MIN_POLLERS=2", "SetSyncServerOption MAX_POLLERS=4",
                                      "SetSyncServerOption CQ_TIMEOUT_MSEC=250", "RegisterCallbackGenericService",
                                      "SetOption grpc.keepalive_permit_without_calls=1",
                                      "SetOption grpc.http2.min_ping_interval_without_data_ms=5000", "BuildAndStart"));
}

TEST_F(Configuration, WithoutSettingsOnlyTheUnconditionalStepsAreTaken) {
  ASSERT_EQ(StartWith({}), 0);
  EXPECT_THAT(grpc.All(), ElementsAre("AddListeningPort " + address, "ResourceQuota resource-quota", "Resize 1048576",
                                      "SetResourceQuota", "RegisterCallbackGenericService",
                                      "SetOption grpc.keepalive_permit_without_calls=1",
                                      "SetOption grpc.http2.min_ping_interval_without_data_ms=5000", "BuildAndStart"));
}

TEST_F(Configuration, AnAddressThatIsNoTextCountsAsAbsent) {
  grpc.ListenInsteadOn(address);
  ASSERT_EQ(instance.Start({{"serverUrl", 50006}}), 0);
  EXPECT_EQ(log.Count(1, "serverUrl"), 0U);
  EXPECT_EQ(log.Count(1, "Server listening on 0.0.0.0:50005"), 1U);
}

// ---- Integer keys, one by one ----

struct IntegerKey {
  const char* key;
  sim::Value value;
  Texts lines;
  Texts calls;  // of those that settings have an effect on
};

void PrintTo(const IntegerKey& parameter, std::ostream* out) {
  const auto* number = std::get_if<int32_t>(&parameter.value);
  *out << parameter.key << " " << (number ? std::to_string(*number) : "of another kind");
}

class IntegerKeys : public Configuration, public testing::WithParamInterface<IntegerKey> {};

TEST_P(IntegerKeys, AreTakenOrSilentlyReplaced) {
  ASSERT_EQ(StartWith({{GetParam().key, GetParam().value}}), 0);
  EXPECT_EQ(SettingLines(), GetParam().lines);
  EXPECT_EQ(grpc.Only({"SetSyncServerOption", "SetMaxThreads", "Resize"}), GetParam().calls);
}

/// An integer key's value that takes effect, or one that is replaced when there is no line.
IntegerKey taken(const char* key, int32_t value, const std::string& line, Texts calls) {
  return {key, value, {line}, std::move(calls)};
}
IntegerKey replaced(const char* key, sim::Value value) { return {key, std::move(value), {}, {"Resize 1048576"}}; }

constexpr int32_t largest = INT32_MAX;
constexpr int32_t smallest = INT32_MIN;

INSTANTIATE_TEST_SUITE_P(
    NumCqs, IntegerKeys,
    testing::Values(taken("grpc_num_cqs", 1, "1 grpc_num_cqs: 1", {"Resize 1048576", "SetSyncServerOption NUM_CQS=1"}),
                    taken("grpc_num_cqs", largest, "1 grpc_num_cqs: 2147483647",
                          {"Resize 1048576", "SetSyncServerOption NUM_CQS=2147483647"}),
                    replaced("grpc_num_cqs", 0), replaced("grpc_num_cqs", -1), replaced("grpc_num_cqs", smallest),
                    replaced("grpc_num_cqs", std::string("3"))));

INSTANTIATE_TEST_SUITE_P(
    MemoryKb, IntegerKeys,
    testing::Values(taken("grpc_memory_kb", 1, "1 grpc_memory_kb: 1", {"Resize 131072"}),
                    taken("grpc_memory_kb", 64, "1 grpc_memory_kb: 64", {"Resize 131072"}),
                    taken("grpc_memory_kb", 128, "1 grpc_memory_kb: 128", {"Resize 131072"}),
                    taken("grpc_memory_kb", 129, "1 grpc_memory_kb: 129", {"Resize 132096"}),
                    taken("grpc_memory_kb", 4194303, "1 grpc_memory_kb: 4194303", {"Resize 4294966272"}),
                    taken("grpc_memory_kb", 4194304, "1 grpc_memory_kb: 4194304", {"Resize 0"}),
                    taken("grpc_memory_kb", 4194305, "1 grpc_memory_kb: 4194305", {"Resize 1024"}),
                    taken("grpc_memory_kb", largest, "1 grpc_memory_kb: 2147483647", {"Resize 4294966272"}),
                    replaced("grpc_memory_kb", 0), replaced("grpc_memory_kb", -64),
                    replaced("grpc_memory_kb", std::string("64"))));

INSTANTIATE_TEST_SUITE_P(Pollers, IntegerKeys,
                         testing::Values(taken("grpc_min_pollers", 1, "1 grpc_min_pollers: 1",
                                               {"Resize 1048576", "SetSyncServerOption MIN_POLLERS=1"}),
                                         replaced("grpc_min_pollers", 0), replaced("grpc_min_pollers", -2),
                                         replaced("grpc_min_pollers", std::string("2")),
                                         taken("grpc_max_pollers", 1, "1 grpc_max_pollers: 1",
                                               {"Resize 1048576", "SetSyncServerOption MAX_POLLERS=1"}),
                                         replaced("grpc_max_pollers", 0), replaced("grpc_max_pollers", -2),
                                         replaced("grpc_max_pollers", 2.0)));

INSTANTIATE_TEST_SUITE_P(CqTimeoutMs, IntegerKeys,
                         testing::Values(taken("grpc_cq_timeout_ms", 1, "1 grpc_cq_timeout_ms: 1",
                                               {"Resize 1048576", "SetSyncServerOption CQ_TIMEOUT_MSEC=1"}),
                                         replaced("grpc_cq_timeout_ms", 0), replaced("grpc_cq_timeout_ms", -1),
                                         replaced("grpc_cq_timeout_ms", std::string("1"))));

INSTANTIATE_TEST_SUITE_P(QuotaNewMaxThreads, IntegerKeys,
                         testing::Values(taken("quota_new_max_threads", 2, "1 quota_new_max_threads: 2",
                                               {"SetMaxThreads 2", "Resize 1048576"}),
                                         replaced("quota_new_max_threads", 1), replaced("quota_new_max_threads", 0),
                                         replaced("quota_new_max_threads", -5),
                                         replaced("quota_new_max_threads", std::string("5"))));

// ---- Keys that look at each other ----

TEST_F(Configuration, MaxPollersEqualToMinPollersIsLoggedButNotApplied) {
  ASSERT_EQ(StartWith({{"grpc_min_pollers", 2}, {"grpc_max_pollers", 2}}), 0);
  EXPECT_THAT(SettingLines(), ElementsAre("1 grpc_min_pollers: 2", "1 grpc_max_pollers: 2"));
  EXPECT_THAT(Options(), ElementsAre("SetSyncServerOption MIN_POLLERS=2"));
}

TEST_F(Configuration, MaxPollersBelowMinPollersIsLoggedButNotApplied) {
  ASSERT_EQ(StartWith({{"grpc_min_pollers", 3}, {"grpc_max_pollers", 2}}), 0);
  EXPECT_THAT(SettingLines(), ElementsAre("1 grpc_min_pollers: 3", "1 grpc_max_pollers: 2"));
  EXPECT_THAT(Options(), ElementsAre("SetSyncServerOption MIN_POLLERS=3"));
}

TEST_F(Configuration, MaxPollersAboveMinPollersIsApplied) {
  ASSERT_EQ(StartWith({{"grpc_min_pollers", 2}, {"grpc_max_pollers", 3}}), 0);
  EXPECT_THAT(Options(), ElementsAre("SetSyncServerOption MIN_POLLERS=2", "SetSyncServerOption MAX_POLLERS=3"));
}

TEST_F(Configuration, QuotaThreadsEqualToMaxPollersAreIgnored) {
  ASSERT_EQ(StartWith({{"grpc_max_pollers", 4}, {"quota_new_max_threads", 4}}), 0);
  EXPECT_THAT(SettingLines(), ElementsAre("1 grpc_max_pollers: 4"));
  EXPECT_THAT(Quota(), ElementsAre("Resize 1048576"));
}

TEST_F(Configuration, QuotaThreadsAboveMaxPollersAreTaken) {
  ASSERT_EQ(StartWith({{"grpc_max_pollers", 4}, {"quota_new_max_threads", 5}}), 0);
  EXPECT_THAT(SettingLines(), ElementsAre("1 grpc_max_pollers: 4", "1 quota_new_max_threads: 5"));
  EXPECT_THAT(Quota(), ElementsAre("SetMaxThreads 5", "Resize 1048576"));
}

TEST_F(Configuration, QuotaThreadsAreComparedWithMaxPollersThatAreNotApplied) {
  ASSERT_EQ(StartWith({{"grpc_min_pollers", 8}, {"grpc_max_pollers", 6}, {"quota_new_max_threads", 6}}), 0);
  EXPECT_THAT(Quota(), ElementsAre("Resize 1048576"));
}

TEST_F(Configuration, QuotaThreadsAreComparedWithoutRejectedMaxPollers) {
  ASSERT_EQ(StartWith({{"grpc_max_pollers", -4}, {"quota_new_max_threads", 2}}), 0);
  EXPECT_THAT(Quota(), ElementsAre("SetMaxThreads 2", "Resize 1048576"));
}

}  // namespace
