// The three engine callbacks, from the engine's list to the clients' messages.
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "corvalux/grpc/streams.pb.h"
#include "module/grpc/grpc.h"
#include "sim/Engine.h"
#include "sim/HostList.h"
#include "sim/Misuse.h"
#include "support/Call.h"
#include "support/HeapUse.h"
#include "support/TestOwner.h"
#include "unit/Hex.h"
#include "unit/LoggedTest.h"

namespace {

using corvalux::grpc::Meter;
using corvalux::grpc::Notification;
using sim::Event;
using test::Call;
using testing::ElementsAre;
using testing::IsEmpty;

/// A module's state without a server, with its callbacks registered.
class Callbacks : public test::LoggedTest {
 protected:
  void SetUp() override {
    const sim::HostCall call;
    handles = {corvalux_engine_addCallbackMeterManager(&engine, 1, corvalux::grpc::meterFastCallback, &state),
               corvalux_engine_addCallbackMeterManager(&engine, 0, corvalux::grpc::meterSlowCallback, &state)};
    changeHandle = corvalux_engine_notify_changes_addCallback(&engine, corvalux::grpc::notifyChangesCallback, &state);
  }

  void TearDown() override {
    {
      const sim::HostCall call;
      for (CallbackHandle handle : handles) corvalux_engine_rmCallbackMeterManager(&engine, handle);
      corvalux_engine_notify_changes_rmCallback(&engine, changeHandle);
    }
    EXPECT_THAT(sim::takeMisuse(), IsEmpty());
    LoggedTest::TearDown();
  }

  auto* SubscribeFast() { return meterOwner->CreateStream(state.fastPublisher.get()); }
  auto* SubscribeSlow() { return meterOwner->CreateStream(state.slowPublisher.get()); }
  auto* SubscribeChanges() { return changeOwner->CreateStream(state.changePublisher.get()); }

  /// The keys of the message that the client received last.
  template <typename T>
  static std::vector<std::string> LastKeys(const Call<T>& client) {
    T message;
    EXPECT_TRUE(message.ParseFromString(client.stream.Sent().back()));
    std::vector<std::string> keys;
    for (const auto& entry : message.entries()) keys.push_back(entry.key());
    return keys;
  }

  /// What an update of the fast meters allocates and frees.
  test::HeapUse HeapUseOf(const sim::KeyValues& values) {
    const sim::HostList list(values);
    const sim::EngineCall call;
    const test::HeapUse before = test::heapUse();
    corvalux::grpc::meterFastCallback(list.Handle(), &state);
    const test::HeapUse after = test::heapUse();
    return {after.allocated - before.allocated, after.freed - before.freed};
  }

  /// Emits a list, and completes the write of its message.
  template <typename T>
  void EmitTo(Call<T>& client, Event event, const sim::KeyValues& values) {
    engine.Emit(event, values);
    client.stream.CompleteWrite();
  }

  sim::Engine engine;
  corvalux::grpc::GrpcModuleState state;
  std::shared_ptr<test::TestOwner<Meter>> meterOwner = std::make_shared<test::TestOwner<Meter>>();
  std::shared_ptr<test::TestOwner<Notification>> changeOwner = std::make_shared<test::TestOwner<Notification>>();
  std::vector<CallbackHandle> handles;
  CallbackHandle changeHandle = nullptr;
};

TEST_F(Callbacks, MetersWithoutSubscribersAreNotWalked) {
  engine.Emit(Event::meterFast, {{"a", 1U}});
  engine.Emit(Event::meterSlow, {{"a", 1U}});
  EXPECT_EQ(engine.Visits(), 0U);
  EXPECT_EQ(state.fastMeter.entries_size(), 0);
  EXPECT_EQ(state.slowMeter.entries_size(), 0);
}

TEST_F(Callbacks, FastMetersAreNotWalkedForSlowSubscribers) {
  const Call slow(SubscribeSlow());
  engine.Emit(Event::meterFast, {{"a", 1U}});
  EXPECT_EQ(engine.Visits(), 0U);
  EXPECT_THAT(slow.stream.Sent(), IsEmpty());
}

TEST_F(Callbacks, SlowMetersAreNotWalkedForFastSubscribers) {
  const Call fast(SubscribeFast());
  engine.Emit(Event::meterSlow, {{"a", 1U}});
  EXPECT_EQ(engine.Visits(), 0U);
  EXPECT_THAT(fast.stream.Sent(), IsEmpty());
}

TEST_F(Callbacks, EachCadenceReachesItsOwnSubscribers) {
  const Call fast(SubscribeFast());
  const Call slow(SubscribeSlow());
  engine.Emit(Event::meterFast, {{"fast", 1U}});
  engine.Emit(Event::meterSlow, {{"slow", 1U}});
  EXPECT_THAT(LastKeys(fast), ElementsAre("fast"));
  EXPECT_THAT(LastKeys(slow), ElementsAre("slow"));
  EXPECT_EQ(state.fastMeter.entries(0).key(), "fast");
  EXPECT_EQ(state.slowMeter.entries(0).key(), "slow");
}

TEST_F(Callbacks, MetersAreNotWalkedAfterTheLastSubscriberHasLeft) {
  Call fast(SubscribeFast());
  EmitTo(fast, Event::meterFast, {{"a", 1U}});
  fast.stream.Cancel();
  engine.Emit(Event::meterFast, {{"a", 1U}, {"b", 2U}});
  EXPECT_EQ(engine.Visits(), 1U);
}

TEST_F(Callbacks, EmptyMeterListIsAnEmptyMessage) {
  Call fast(SubscribeFast());
  EmitTo(fast, Event::meterFast, {});
  EXPECT_THAT(fast.stream.Sent(), ElementsAre(""));
}

TEST_F(Callbacks, EmptyMeterListAfterAFullOneIsAnEmptyMessage) {
  Call slow(SubscribeSlow());
  EmitTo(slow, Event::meterSlow, {{"a", 1U}, {"b", 2U}});
  EmitTo(slow, Event::meterSlow, {});
  EXPECT_EQ(slow.stream.Sent().back(), "");
}

TEST_F(Callbacks, ShorterMeterListRemovesTheSurplus) {
  Call fast(SubscribeFast());
  EmitTo(fast, Event::meterFast, {{"a", 1U}, {"b", 2U}, {"c", 3U}});
  EmitTo(fast, Event::meterFast, {{"d", 4U}});
  EXPECT_THAT(LastKeys(fast), ElementsAre("d"));
  EXPECT_EQ(state.fastMeter.entries_size(), 1);
}

TEST_F(Callbacks, SurplusEntriesAreFreedNotKeptForReuse) {
  constexpr std::size_t surplus = 100;
  const Call fast(SubscribeFast());
  HeapUseOf(sim::KeyValues(1 + surplus, {"a", 1U}));
  const test::HeapUse use = HeapUseOf({{"a", 1U}});
  EXPECT_GE(use.freed, 2 * surplus) << "an entry, and its value";
  EXPECT_LT(use.allocated, surplus);
}

TEST_F(Callbacks, ResultOfAWalkIsIgnored) {
  engine.SetWalkResult(1);
  Call fast(SubscribeFast());
  Call slow(SubscribeSlow());
  Call changes(SubscribeChanges());
  EmitTo(fast, Event::meterFast, {{"a", 1U}, {"b", 2U}});
  EmitTo(slow, Event::meterSlow, {{"c", 3U}, {"d", 4U}});
  EmitTo(changes, Event::changes, {{"e", 5U}, {"f", 6U}});
  EXPECT_THAT(LastKeys(fast), ElementsAre("a", "b"));
  EXPECT_THAT(LastKeys(slow), ElementsAre("c", "d"));
  EXPECT_THAT(LastKeys(changes), ElementsAre("e", "f"));
}

TEST_F(Callbacks, LongerMeterListAppends) {
  Call fast(SubscribeFast());
  EmitTo(fast, Event::meterFast, {{"a", 1U}});
  EmitTo(fast, Event::meterFast, {{"b", 2U}, {"a", 3U}, {"a", 4U}});
  EXPECT_THAT(LastKeys(fast), ElementsAre("b", "a", "a"));
}

TEST_F(Callbacks, MeterMessageIsKeptForTheNextUpdate) {
  constexpr std::size_t arrays = 100;
  const Call fast(SubscribeFast());
  const auto update = [](float level) { return sim::KeyValues(arrays, {"a", std::vector<float>(8, level)}); };
  EXPECT_GT(HeapUseOf(update(0.5F)).allocated, 2 * arrays) << "an array's message, and its numbers";
  EXPECT_LT(HeapUseOf(update(1.5F)).allocated, arrays / 10) << "for the serialised message only";
}

TEST_F(Callbacks, UnknownMeterKindKeepsTheValueBefore) {
  Call fast(SubscribeFast());
  EmitTo(fast, Event::meterFast, {{"a", 7U}});
  EmitTo(fast, Event::meterFast, {{"b", sim::UnknownKind{8}}});
  EXPECT_EQ(test::hex(fast.stream.Sent().back()), "0a 07 0a 01 62 12 02 20 07");
}

TEST_F(Callbacks, EntryAppendedAfterATrimIsFresh) {
  Call fast(SubscribeFast());
  EmitTo(fast, Event::meterFast, {{"a", 1U}, {"b", 7U}});
  EmitTo(fast, Event::meterFast, {{"a", 1U}});
  EmitTo(fast, Event::meterFast, {{"a", 1U}, {"b", sim::UnknownKind{8}}});
  EXPECT_EQ(test::hex(fast.stream.Sent().back()), "0a 07 0a 01 61 12 02 20 01 0a 05 0a 01 62 12 00");
}

TEST_F(Callbacks, ChangesAreWalkedWithoutSubscribers) {
  engine.Emit(Event::changes, {{"a", 1U}, {"b", std::string("x")}, {"c", std::vector<float>{1}}});
  EXPECT_EQ(engine.Visits(), 3U);
  EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(Callbacks, ClientThatSubscribesDuringTheWalkOfChangesGetsThem) {
  std::optional<Call<Notification>> client;
  engine.SetVisitObserver([&] {
    if (!client) client.emplace(SubscribeChanges());
  });
  engine.Emit(Event::changes, {{"a", 1U}, {"b", 2U}});
  ASSERT_TRUE(client);
  ASSERT_EQ(client->stream.Sent().size(), 1U);
  EXPECT_THAT(LastKeys(*client), ElementsAre("a", "b"));
}

TEST_F(Callbacks, ChangesReachTheirSubscribers) {
  const Call fast(SubscribeFast());
  const Call client(SubscribeChanges());
  engine.Emit(Event::changes, {{"b", 1U}, {"a", 2U}, {"b", 3U}});
  EXPECT_THAT(LastKeys(client), ElementsAre("b", "a", "b"));
  EXPECT_THAT(fast.stream.Sent(), IsEmpty());
}

TEST_F(Callbacks, EmptyChangeListIsAnEmptyMessage) {
  Call client(SubscribeChanges());
  EmitTo(client, Event::changes, {});
  EXPECT_THAT(client.stream.Sent(), ElementsAre(""));
}

TEST_F(Callbacks, EveryChangeEventStartsFromAFreshMessage) {
  Call client(SubscribeChanges());
  EmitTo(client, Event::changes, {{"a", 7U}, {"b", 8U}});
  EmitTo(client, Event::changes, {{"c", sim::UnknownKind{8}}});
  EXPECT_EQ(test::hex(client.stream.Sent().back()), "0a 05 0a 01 63 12 00");
}

TEST_F(Callbacks, FastSlowAndChangesMayRunAtTheSameTime) {
  constexpr int events = 300;
  const auto emit = [this](Event event) {
    for (int i = 0; i < events; ++i) engine.Emit(event, {{"a", std::vector<float>(16)}, {"b", std::string("text")}});
  };
  Call fast(SubscribeFast());
  Call slow(SubscribeSlow());
  Call changes(SubscribeChanges());
  {
    const std::jthread fastThread(emit, Event::meterFast);
    const std::jthread slowThread(emit, Event::meterSlow);
    const std::jthread changesThread(emit, Event::changes);
    const std::jthread moreChangesThread(emit, Event::changes);
  }
  EXPECT_EQ(engine.Visits(), 4U * 2U * events);
  for (test::ScriptedStream* stream : {&fast.stream, &slow.stream, &changes.stream}) {
    stream->CompleteWrite();
    EXPECT_EQ(stream->Sent().size(), 2U);
    EXPECT_EQ(stream->Sent().at(0), stream->Sent().at(1));
  }
}

}  // namespace
