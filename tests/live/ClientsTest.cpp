// Clients of many sorts: that subscribe twice, fifty at once, that send requests, that leave.
#include <gmock/gmock.h>

#include <algorithm>
#include <list>

#include "live/LiveTest.h"
#include "sim/Ticker.h"

namespace {

using namespace std::chrono_literals;
using sim::Event;
using test::counted;
using test::RawCall;
using test::StreamClient;

class Clients : public test::LiveTest {
 protected:
  /// Sends requests of 64 KiB until the server takes no more, at most 1000; returns how many it took.
  static int Flood(RawCall& call) {
    const std::string request(64 * 1024, 'r');
    int sent = 0;
    while (sent < 1000 && call.Write(request, 200ms)) ++sent;
    return sent;
  }

  /// Waits until this is the client's newest message.
  static bool Reached(StreamClient& client, uint32_t counter) {
    return test::eventually([&] { return test::counterOf(client.Messages().back()) == counter; });
  }
};

TEST_F(Clients, SubscribingTwiceOnOneConnectionGivesTwoIndependentStreams) {
  StartModule();
  const auto channel = test::connect(address);
  StreamClient first(channel, test::fastMethod);
  StreamClient second(channel, test::fastMethod);
  ASSERT_TRUE(Subscribed(first));
  ASSERT_TRUE(Subscribed(second));
  for (const uint32_t counter : {1U, 2U}) {
    engine.Emit(Event::meterFast, counted(counter));
    for (StreamClient* client : {&first, &second}) ASSERT_TRUE(Reached(*client, counter));
  }
  for (StreamClient* client : {&first, &second}) {
    const auto messages = client->Messages();
    EXPECT_EQ(std::count(messages.begin(), messages.end(), messages[messages.size() - 2]), 1) << "each message once";
  }
  first.Cancel();
  ASSERT_TRUE(StreamsEnded(1));
  EXPECT_TRUE(Delivered(Event::meterFast, counted(2), second));
}

TEST_F(Clients, FiftyReceiveIdenticalBytes) {
  StartRoomyModule();
  std::list<StreamClient> clients;
  for (int i = 0; i < 50; ++i) clients.emplace_back(address, test::changesMethod);
  for (StreamClient& client : clients) ASSERT_TRUE(Subscribed(client, Event::changes));
  for (uint32_t counter = 1; counter <= 20; ++counter) {
    engine.Emit(Event::changes, counted(counter, 500));
    for (StreamClient& client : clients) ASSERT_TRUE(Reached(client, counter));
    for (StreamClient& client : clients) EXPECT_EQ(client.Messages().back(), clients.front().Messages().back());
  }
}

TEST_F(Clients, CancellingRemovesThatClientOnly) {
  StartModule();
  StreamClient leaving(address, test::fastMethod);
  StreamClient staying(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(leaving));
  ASSERT_TRUE(Subscribed(staying));
  log.Clear();
  leaving.Cancel();
  ASSERT_TRUE(StreamsEnded(1));
  EXPECT_EQ(log.Count(1, "OnCancel invoked: cleaning up reactor"), 1U);
  EXPECT_EQ(log.Count(1, "calling Finish on reactor"), 1U);
  EXPECT_EQ(leaving.WaitForStatus()->error_code(), ::grpc::StatusCode::CANCELLED);
  EXPECT_TRUE(Delivered(Event::meterFast, counted(1), staying));
}

TEST_F(Clients, ThatNeverHalfCloseAreServedAsWell) {
  StartModule();
  RawCall closed(address, test::slowMethod);
  RawCall open(address, test::fastMethod);
  ASSERT_TRUE(closed.HalfClose());
  ASSERT_TRUE(Subscribed(closed, Event::meterSlow));
  ASSERT_TRUE(Subscribed(open, Event::meterFast));
  for (uint32_t counter = 1; counter < 5; ++counter) {
    engine.Emit(Event::meterSlow, counted(counter));
    engine.Emit(Event::meterFast, counted(counter));
    const auto bytes = open.Read();
    ASSERT_TRUE(bytes);
    EXPECT_EQ(test::counterOf(*bytes), counter);
    EXPECT_EQ(bytes, closed.Read());
  }
}

TEST_F(Clients, RequestsAreNeverRead) {
  StartRoomyModule();
  RawCall call(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(call));
  const int sent = Flood(call);
  EXPECT_LT(sent, 500) << "somebody reads them";
  engine.Emit(Event::meterFast, counted(1));
  const auto bytes = call.Read();
  ASSERT_TRUE(bytes) << "sending has ended the stream";
  EXPECT_EQ(test::counterOf(*bytes), 1U);
  EXPECT_EQ(log.Count(4, ""), 0U);
}

TEST_F(Clients, FloodingTheServersMemoryEndsStreamsButNotTheServer) {
  StartModule();  // with the default of 1 MiB for all connections
  StreamClient reader(address, test::fastMethod);
  RawCall flooding(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(reader));
  ASSERT_TRUE(Subscribed(flooding));
  Flood(flooding);
  // The library frees memory by ending a stream of its choice: it may be the other one.
  if (!Delivered(Event::meterFast, counted(1), reader)) {
    EXPECT_EQ(reader.WaitForStatus()->error_code(), ::grpc::StatusCode::RESOURCE_EXHAUSTED);
  }
  flooding.Cancel();
  // Newer releases of the library may refuse the first ones: they free the memory a moment later.
  const sim::Ticker engineRuns(1ms, [this] { engine.Emit(Event::meterFast, counted(1)); });
  EXPECT_TRUE(test::eventually([this] { return StreamClient(address, test::fastMethod).WaitForMessages(1); }));
}

TEST_F(Clients, EventsAreNotConvertedAfterTheLastOneHasLeft) {
  StartModule();
  {
    StreamClient client(address, test::fastMethod);
    ASSERT_TRUE(Subscribed(client));
  }
  ASSERT_TRUE(StreamsEnded(1));
  const std::size_t before = engine.Visits();
  engine.Emit(Event::meterFast, counted(1));
  EXPECT_EQ(engine.Visits(), before) << "the list was walked for nobody";
  StreamClient next(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(next));
  EXPECT_THAT(next.Messages(), testing::Each(testing::ResultOf(test::counterOf, testing::Ne(1U))));
}

TEST_F(Clients, SubscribingDuringEventsAreAllServed) {
  StartRoomyModule();
  const sim::Ticker busy(100us, [this] { engine.Emit(Event::meterFast, counted(1)); });
  std::list<StreamClient> clients;
  for (int i = 0; i < 30; ++i) {
    clients.emplace_back(address, test::fastMethod);
    ASSERT_TRUE(clients.back().WaitForMessages(3));
  }
}

}  // namespace
