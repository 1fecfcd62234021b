// A start, and a client that comes and goes: everything that can be seen of it, in one order. See StopTest for a stop.
#include <gmock/gmock.h>

#include "module/Journal.h"
#include "module/RecordedTest.h"
#include "support/StreamClient.h"

namespace {

using test::StreamClient;
using test::Texts;
using testing::ElementsAre;
using testing::ElementsAreArray;

class WholeRun : public test::RecordedTest {
 protected:
  Texts Start() {
    const sim::KeyValues settings = {{"grpc_num_cqs", 3},         {"grpc_memory_kb", 2048},
                                     {"grpc_min_pollers", 2},     {"grpc_max_pollers", 4},
                                     {"grpc_cq_timeout_ms", 250}, {"quota_new_max_threads", 9}};
    EXPECT_EQ(StartWith(settings), 0);
    return Seen();
  }

  Texts Seen() {
    const Texts entries = test::withoutPointers(journal.Entries());
    journal.Clear();
    return entries;
  }

  test::Journal journal{engine, grpc};
};

TEST_F(WholeRun, StartTakesItsStepsInOneOrder) {
  EXPECT_THAT(Start(), ElementsAreArray(Texts{"1 startCycle(grpc, #1)",
                                              "1 serverUrl: " + address,
                                              "1 grpc_num_cqs: 3",
                                              "1 grpc_memory_kb: 2048",
                                              "1 grpc_min_pollers: 2",
                                              "1 grpc_max_pollers: 4",
                                              "1 grpc_cq_timeout_ms: 250",
                                              "1 quota_new_max_threads: 9",
                                              "2 grpc: creating services for gRPC callback APIs..",
                                              "1 AddListening on " + address,
                                              "AddListeningPort " + address,
                                              "ResourceQuota resource-quota",
                                              "SetMaxThreads 9",
                                              "Resize 2097152",
                                              "SetResourceQuota",
                                              "SetSyncServerOption NUM_CQS=3",
                                              "SetSyncServerOption MIN_POLLERS=2",
                                              "SetSyncServerOption MAX_POLLERS=4",
                                              "SetSyncServerOption CQ_TIMEOUT_MSEC=250",
                                              "RegisterCallbackGenericService",
                                              "SetOption grpc.keepalive_permit_without_calls=1",
                                              "SetOption grpc.http2.min_ping_interval_without_data_ms=5000",
                                              "BuildAndStart",
                                              "1 Server listening on " + address,
                                              "add meterFast",
                                              "add meterSlow",
                                              "add changes"}));
}

TEST_F(WholeRun, NothingIsSeenBetweenAStartAndAStopButTheStreams) {
  Start();
  StreamClient client(address, test::changesMethod);
  ASSERT_TRUE(EmitUntil(sim::Event::changes, {{"a", 1U}}, [&] { return !client.Messages().empty(); }));
  client.Cancel();
  ASSERT_TRUE(test::eventually([this] { return journal.Entries().size() >= 4; }));
  EXPECT_THAT(Seen(), ElementsAre("1 OnCancel invoked: cleaning up reactor #1", "1 removing reactor #1 from publisher",
                                  "1 calling Finish on reactor #1", "1 OnDone invoked: cleaning up reactor #1"));
}

}  // namespace
