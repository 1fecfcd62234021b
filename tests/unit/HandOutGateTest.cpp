#include "module/grpc/HandOutGate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <future>
#include <optional>
#include <thread>

#include "unit/Completion.h"

namespace {

using corvalux::grpc::HandOutGate;
using test::Completion;

class Gate : public testing::Test {
 protected:
  Completion Arrival() {
    return Completion([this] { gate.Wait(); });
  }

  HandOutGate gate;
};

TEST_F(Gate, NobodyWaitsWithoutAHandOut) {
  gate.Wait();
  { const HandOutGate::HandOut handOut(gate); }
  gate.Wait();
}

TEST_F(Gate, EndOfTheHandOutReleasesAllThatWait) {
  std::optional<HandOutGate::HandOut> handOut(gate);
  Completion first = Arrival();
  Completion second = Arrival();
  EXPECT_TRUE(first.Waits());
  EXPECT_TRUE(second.Waits());
  handOut.reset();
  EXPECT_TRUE(first.Passes());
  EXPECT_TRUE(second.Passes());
}

TEST_F(Gate, WaitEndsThoughTheNextHandOutBeginsAtOnce) {
  std::optional<HandOutGate::HandOut> handOut(gate);
  Completion completion = Arrival();
  EXPECT_TRUE(completion.Waits());
  handOut.emplace(gate);
  EXPECT_TRUE(completion.Passes());
}

TEST_F(Gate, NoMoreThreadsWaitThanTheLibrarysPoolCanSpare) {
  std::optional<HandOutGate::HandOut> handOut(gate);
  std::deque<Completion> waiting;
  for (uint32_t i = 0; i < HandOutGate::MostWaiting(); ++i) {
    waiting.emplace_back([this] { gate.Wait(); });
    EXPECT_TRUE(waiting.back().Waits());
  }
  EXPECT_TRUE(Arrival().Passes());
  handOut.reset();
  for (auto& each : waiting) EXPECT_TRUE(each.Passes());
}

TEST_F(Gate, ThreadThatHandsOutDoesNotWaitForItself) {
  const HandOutGate::HandOut handOut(gate);
  gate.Wait();
}

TEST_F(Gate, ThreadThatHandedOutEarlierWaitsForAnother) {
  std::promise<void> earlierIsOver;
  std::atomic<bool> anotherRuns = false;
  Completion completion([&] {
    { const HandOutGate::HandOut earlier(gate); }
    earlierIsOver.set_value();
    while (!anotherRuns) std::this_thread::yield();
    gate.Wait();
  });
  earlierIsOver.get_future().wait();
  std::optional<HandOutGate::HandOut> another(gate);
  anotherRuns = true;
  EXPECT_TRUE(completion.Waits());
  another.reset();
  EXPECT_TRUE(completion.Passes());
}

TEST_F(Gate, EveryWaitEndsWhileHandOutsFollowEachOther) {
  const auto waitOften = [this] {
    for (int waits = 0; waits < 5000; ++waits) gate.Wait();
  };
  const std::jthread library(waitOften);
  const std::jthread otherLibrary(waitOften);
  for (int handOuts = 0; handOuts < 5000; ++handOuts) const HandOutGate::HandOut handOut(gate);
}

}  // namespace
