// The simulated engine's own checks: a check that never fires would let every module pass.
#include <gmock/gmock.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <new>
#include <thread>

#include "sim/Engine.h"
#include "sim/HostList.h"
#include "sim/Misuse.h"
#include "support/ModuleTest.h"

namespace {

using sim::Event;
using testing::ElementsAre;
using testing::IsEmpty;

std::atomic<void*> watchedBlock = nullptr;
std::atomic<int> watchedByte = -1;  // what the watched block began with when it was freed

}  // namespace

// Every block that the program frees passes here, so that a test may look at one in its last moment.
void* operator new[](std::size_t size) { return std::malloc(size); }
void operator delete[](void* block) noexcept {
  if (block && block == watchedBlock) watchedByte = *static_cast<volatile unsigned char*>(block);
  std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept { operator delete[](block); }

namespace {

void ignore(KeyValueList, void*) {}

class Engine : public testing::Test {
 protected:
  void TearDown() override { EXPECT_THAT(sim::takeMisuse(), IsEmpty()); }

  CallbackHandle AddMeters(int32_t fast = 1, EngineCallback callback = ignore, void* user = nullptr) {
    const sim::HostCall call;
    return corvalux_engine_addCallbackMeterManager(&engine, fast, callback, user);
  }
  CallbackHandle AddChanges(EngineCallback callback = ignore, void* user = nullptr) {
    const sim::HostCall call;
    return corvalux_engine_notify_changes_addCallback(&engine, callback, user);
  }
  void RemoveMeters(CallbackHandle handle) {
    const sim::HostCall call;
    corvalux_engine_rmCallbackMeterManager(&engine, handle);
  }
  void RemoveChanges(CallbackHandle handle) {
    const sim::HostCall call;
    corvalux_engine_notify_changes_rmCallback(&engine, handle);
  }

  sim::Engine engine;
};

// ---- Registrations ----

TEST_F(Engine, ReportsAHandleThatIsRemovedTwice) {
  const CallbackHandle handle = AddMeters();
  RemoveMeters(handle);
  EXPECT_THAT(sim::takeMisuse(), IsEmpty());
  RemoveMeters(handle);
  EXPECT_THAT(sim::takeMisuse(), ElementsAre("handle removed twice"));
}

TEST_F(Engine, ReportsAnUnknownHandle) {
  sim::Engine other;
  int mark = 0;
  RemoveChanges(reinterpret_cast<CallbackHandle>(&mark));
  RemoveMeters(nullptr);
  EXPECT_THAT(sim::takeMisuse(), ElementsAre("unknown handle removed", "unknown handle removed"));
}

TEST_F(Engine, ReportsAHandleOfAnotherEngine) {
  sim::Engine other;
  const CallbackHandle handle = AddMeters();
  {
    const sim::HostCall call;
    corvalux_engine_rmCallbackMeterManager(&other, handle);
  }
  EXPECT_THAT(sim::takeMisuse(), ElementsAre("unknown handle removed"));
  EXPECT_EQ(engine.Registrations(), 1U);
}

TEST_F(Engine, ReportsTheWrongRemovingFunction) {
  RemoveChanges(AddMeters(0));
  RemoveMeters(AddChanges());
  EXPECT_THAT(sim::takeMisuse(), ElementsAre("callback removed by the wrong function: meterSlow",
                                             "callback removed by the wrong function: changes"));
}

TEST_F(Engine, ReportsRegistrationsOnAThreadThatIsNotTheHosts) {
  const CallbackHandle handle = AddMeters();
  std::thread([&] {
    corvalux_engine_notify_changes_addCallback(&engine, ignore, nullptr);
    corvalux_engine_rmCallbackMeterManager(&engine, handle);
  }).join();
  EXPECT_THAT(sim::takeMisuse(),
              ElementsAre("callback added on a wrong thread: changes", "callback removed on a wrong thread"));
}

TEST_F(Engine, ReportsACallbackThatIsRemovedFromWithinItsOwnCall) {
  struct User {
    sim::Engine* engine;
    CallbackHandle handle;
  } user{&engine, nullptr};
  const EngineCallback removeItself = [](KeyValueList, void* pointer) {
    const auto& self = *static_cast<User*>(pointer);
    corvalux_engine_notify_changes_rmCallback(self.engine, self.handle);
  };
  user.handle = AddChanges(removeItself, &user);
  engine.Emit(Event::changes, {});
  EXPECT_THAT(sim::takeMisuse(),
              ElementsAre("callback removed on a wrong thread", "callback removed from within its own call: changes"));
}

TEST_F(Engine, ReportsAnEngineThatDoesNotExist) {
  const sim::HostCall call;
  EXPECT_EQ(corvalux_engine_notify_changes_addCallback(nullptr, ignore, nullptr), nullptr);
  EXPECT_EQ(corvalux_engine_addCallbackMeterManager(nullptr, 1, ignore, nullptr), nullptr);
  EXPECT_THAT(sim::takeMisuse(), ElementsAre("corvalux_engine_notify_changes_addCallback called with an unknown engine",
                                             "corvalux_engine_addCallbackMeterManager called with an unknown engine"));
}

TEST_F(Engine, ReportsANullCallbackAndAnUnknownCadence) {
  AddMeters(2);
  AddChanges(nullptr);
  EXPECT_THAT(sim::takeMisuse(),
              ElementsAre("meter callback added with a cadence other than 0 and 1", "null callback added: changes"));
}

TEST_F(Engine, RefusesTheNthRegistrationOnly) {
  engine.RefuseRegistration(2);
  EXPECT_NE(AddMeters(1), nullptr);
  EXPECT_EQ(AddMeters(0), nullptr);
  EXPECT_NE(AddChanges(), nullptr);
  EXPECT_THAT(engine.Calls(), ElementsAre("add meterFast", "refuse meterSlow", "add changes"));
  EXPECT_EQ(engine.Registrations(), 2U);
}

TEST_F(Engine, TakesANullHandleForTheUnnamedEngine) {
  sim::setUnnamedEngine(&engine);
  const sim::HostCall call;
  EXPECT_NE(corvalux_engine_addCallbackMeterManager(nullptr, 1, ignore, nullptr), nullptr);
  EXPECT_THAT(engine.Calls(), ElementsAre("add meterFast"));
  sim::setUnnamedEngine(nullptr);
}

// ---- Delivery ----

TEST_F(Engine, DeliversToTheRegistrationsForTheEventWithTheirUser) {
  std::vector<int> heard;
  struct User {
    std::vector<int>* heard;
    int number;
  } fast{&heard, 1}, slow{&heard, 0}, changes{&heard, 2};
  const EngineCallback hear = [](KeyValueList, void* pointer) {
    const auto& user = *static_cast<User*>(pointer);
    user.heard->push_back(user.number);
  };
  AddMeters(1, hear, &fast);
  AddMeters(0, hear, &slow);
  AddChanges(hear, &changes);
  engine.Emit(Event::changes, {});
  engine.Emit(Event::meterFast, {});
  engine.Emit(Event::meterSlow, {});
  EXPECT_THAT(heard, ElementsAre(2, 1, 0));
}

TEST_F(Engine, DeliversNothingAfterARemoval) {
  int calls = 0;
  const CallbackHandle handle = AddChanges([](KeyValueList, void* user) { ++*static_cast<int*>(user); }, &calls);
  engine.Emit(Event::changes, {});
  RemoveChanges(handle);
  engine.Emit(Event::changes, {});
  EXPECT_EQ(calls, 1);
}

/// A callback that stays in its call until the test lets it go.
struct Gate {
  std::atomic<int> inside = 0;
  std::atomic<bool> open = false;

  static void Pass(KeyValueList, void* user) {
    auto& gate = *static_cast<Gate*>(user);
    ++gate.inside;
    while (!gate.open) std::this_thread::yield();
    --gate.inside;
  }
};

TEST_F(Engine, RemovalWaitsForARunningCall) {
  Gate gate;
  const CallbackHandle handle = AddChanges(Gate::Pass, &gate);
  std::thread emitter([&] { engine.Emit(Event::changes, {}); });
  ASSERT_TRUE(test::eventually([&] { return gate.inside == 1; }));
  std::atomic<bool> removed = false;
  int insideAfterwards = -1;
  std::thread remover([&] {
    RemoveChanges(handle);
    insideAfterwards = gate.inside;
    removed = true;
  });
  ASSERT_TRUE(test::eventually([&] { return engine.Registrations() == 0; }));
  // Registered no more, and still in its call: a removal that does not wait has every chance to show itself.
  EXPECT_FALSE(test::eventually([&] { return removed.load(); }, std::chrono::milliseconds(50)));
  gate.open = true;
  remover.join();
  emitter.join();
  EXPECT_EQ(insideAfterwards, 0);
}

TEST_F(Engine, NeverCallsAMeterCallbackTwiceAtATime) {
  std::atomic<int> inside = 0;
  struct User {
    std::atomic<int>* inside;
    std::atomic<bool> overlapped = false;
  } user{&inside};
  AddMeters(
      1,
      [](KeyValueList, void* pointer) {
        auto& self = *static_cast<User*>(pointer);
        if (++*self.inside > 1) self.overlapped = true;
        std::this_thread::yield();
        --*self.inside;
      },
      &user);
  const auto emit = [&] {
    for (int i = 0; i < 200; ++i) engine.Emit(Event::meterFast, {});
  };
  std::thread other(emit);
  emit();
  other.join();
  EXPECT_FALSE(user.overlapped);
}

TEST_F(Engine, CallsAChangeCallbackAsOftenAtATimeAsThereAreChanges) {
  Gate gate;
  AddChanges(Gate::Pass, &gate);
  std::thread one([&] { engine.Emit(Event::changes, {}); });
  std::thread two([&] { engine.Emit(Event::changes, {}); });
  EXPECT_TRUE(test::eventually([&] { return gate.inside == 2; }));
  gate.open = true;
  one.join();
  two.join();
}

// ---- Lists ----

int32_t visit(const KeyValueEntry*, void*) { return 0; }

TEST_F(Engine, ReportsAListThatIsWalkedOutsideOfAnEvent) {
  const sim::HostList list({{"a", 1}});
  corvalux_keyValueListForEach(list.Handle(), visit, nullptr);
  EXPECT_THAT(sim::takeMisuse(), ElementsAre("list walked outside of an event"));
}

TEST_F(Engine, ReportsAListThatIsWalkedAfterItsDeath) {
  KeyValueList kept = nullptr;
  AddChanges([](KeyValueList changes, void* user) { *static_cast<KeyValueList*>(user) = changes; }, &kept);
  engine.Emit(Event::changes, {{"a", 1}});
  const sim::EngineCall call;
  EXPECT_NE(corvalux_keyValueListForEach(kept, visit, nullptr), 0);
  EXPECT_THAT(sim::takeMisuse(), ElementsAre("dead list walked"));
}

TEST_F(Engine, ReportsAConfigurationThatIsReadOnAWrongThreadOrTooLate) {
  KeyValueList dead = nullptr;
  int32_t value = 5;
  {
    const sim::HostList list({{"a", 1}});
    dead = list.Handle();
    EXPECT_EQ(corvalux_keyValueListGetI(dead, "a", &value), 0);
  }
  const sim::HostCall call;
  EXPECT_NE(corvalux_keyValueListGetI(dead, "a", &value), 0);
  EXPECT_EQ(value, 1);
  EXPECT_THAT(sim::takeMisuse(),
              ElementsAre("configuration read on a wrong thread: a", "configuration read from a dead list: a"));
}

TEST_F(Engine, AnswersForTheKindAskedForOnlyAndLeavesTheRestUntouched) {
  const sim::HostList list({{"number", 1}, {"text", std::string("one")}});
  const sim::HostCall call;
  int32_t number = 7;
  const char* text = "seven";
  EXPECT_NE(corvalux_keyValueListGetI(list.Handle(), "text", &number), 0);
  EXPECT_NE(corvalux_keyValueListGetI(list.Handle(), "absent", &number), 0);
  EXPECT_NE(corvalux_keyValueListGetS(list.Handle(), "number", &text), 0);
  EXPECT_EQ(number, 7);
  EXPECT_STREQ(text, "seven");
  EXPECT_EQ(corvalux_keyValueListGetS(list.Handle(), "text", &text), 0);
  EXPECT_STREQ(text, "one");
}

TEST_F(Engine, ReportsAVisitorThatAnswersOrWrites) {
  const auto walk = [this](KeyValueVisitor visitor) {
    AddChanges(
        [](KeyValueList changes, void* user) {
          corvalux_keyValueListForEach(changes, reinterpret_cast<KeyValueVisitor>(user), nullptr);
        },
        reinterpret_cast<void*>(visitor));
    engine.Emit(Event::changes, {{"a", 1}});
  };
  walk([](const KeyValueEntry*, void*) { return 1; });
  EXPECT_THAT(sim::takeMisuse(), ElementsAre("visitor answered other than 0"));
  walk([](const KeyValueEntry* entry, void*) {
    const_cast<KeyValueEntry*>(entry)->count = 9;
    return 0;
  });
  EXPECT_THAT(sim::takeMisuse(), ElementsAre("visitor answered other than 0", "visitor wrote to an entry"));
}

/// Remembers where the list's one text or array lies, as a module must not.
void watchBlock(KeyValueList list, void*) {
  corvalux_keyValueListForEach(
      list,
      [](const KeyValueEntry* entry, void*) {
        watchedBlock = const_cast<void*>(entry->value.array);
        return 0;
      },
      nullptr);
}

TEST_F(Engine, TextsAndArraysAreOverwrittenBeforeTheyAreFreed) {
  AddChanges(watchBlock);
  for (const sim::Value& value : {sim::Value(std::string("on air")), sim::Value(std::vector<float>{1, 2})}) {
    watchedByte = -1;
    engine.Emit(Event::changes, {{"a", value}});
    EXPECT_EQ(watchedByte, 0xDD);
    watchedBlock = nullptr;
  }
}

}  // namespace
