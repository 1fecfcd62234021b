// Starting and stopping: the banners, the slot, and what may be repeated.
#include <gmock/gmock.h>

#include <array>
#include <cstdio>

#include "module/RecordedTest.h"
#include "sim/HostList.h"
#include "support/StreamClient.h"

namespace {

using test::StreamClient;
using testing::ElementsAre;

class Lifecycle : public test::RecordedTest {};

TEST_F(Lifecycle, StartBeginsWithItsBanner) {
  const sim::HostList config({{"serverUrl", address}});
  {
    const sim::HostCall call;
    ASSERT_EQ(module.Entry().startCycle(&instance.record, config.Handle()), 0);
  }
  std::array<char, 64> banner{};
  std::snprintf(banner.data(), banner.size(), "startCycle(grpc, %p)", static_cast<const void*>(config.Handle()));
  const auto first = log.Lines().at(0);
  EXPECT_EQ(first.level, 1);
  EXPECT_EQ(first.format, "%s(%s, %p)");
  EXPECT_EQ(first.text, banner.data());
}

TEST_F(Lifecycle, StopBeginsWithItsBanner) {
  StartModule();
  log.Clear();
  instance.Stop();
  const auto first = log.Lines().at(0);
  EXPECT_EQ(first.level, 2);
  EXPECT_EQ(first.format, "%s(%s)");
  EXPECT_EQ(first.text, "stopCycle(grpc)");
}

TEST_F(Lifecycle, BannersNameTheInstance) {
  sim::Instance other(module.Entry(), engine, "meters of studio 2");
  ASSERT_EQ(other.Start({{"serverUrl", address}}), 0);
  other.Stop();
  EXPECT_EQ(log.Count(1, "startCycle(meters of studio 2, 0x"), 1U);
  EXPECT_EQ(log.Count(2, "stopCycle(meters of studio 2)"), 1U);
}

TEST_F(Lifecycle, EveryLineCarriesFlagOneAndItsPlaceInTheSources) {
  StartModule();
  StreamClient client(address, test::fastMethod);
  ASSERT_TRUE(EmitUntil(sim::Event::meterFast, {}, [&] { return !client.Messages().empty(); }));
  instance.Stop();
  EXPECT_EQ(instance.Start({{"serverUrl", std::string()}}), -1);
  for (const sim::LogLine& line : log.Lines()) {
    EXPECT_EQ(line.flag, 1) << line.text;
    EXPECT_GT(line.line, 0) << line.text;
    EXPECT_THAT(line.file, testing::MatchesRegex("src/module/grpc/[A-Za-z]+\\.(cpp|h)")) << line.text;
  }
}

TEST_F(Lifecycle, LinesNameTheSourceThatWritesThem) {
  StartModule();
  instance.Stop();
  const auto fileOf = [this](const std::string& part) {
    for (const auto& line : log.Lines()) {
      if (line.text.find(part) != std::string::npos) return line.file;
    }
    return std::string("no such line");
  };
  EXPECT_EQ(fileOf("startCycle"), "src/module/grpc/grpc.cpp");
  EXPECT_EQ(fileOf("destroying gRPC Meters"), "src/module/grpc/GrpcMetersServiceGeneric.cpp");
  EXPECT_EQ(fileOf("destroying gRPC Notifications"), "src/module/grpc/GrpcNotificationsServiceGeneric.cpp");
}

TEST_F(Lifecycle, StartFillsTheSlotAndStopClearsIt) {
  EXPECT_EQ(Slot(), nullptr);
  StartModule();
  EXPECT_NE(Slot(), nullptr);
  EXPECT_TRUE(Listening());
  instance.Stop();
  EXPECT_EQ(Slot(), nullptr);
  EXPECT_FALSE(Listening());
}

TEST_F(Lifecycle, NothingElseInTheRecordIsTouched) {
  int mark = 0;
  for (void*& word : instance.record.hostWords) word = &mark;
  StartModule();
  instance.Stop();
  EXPECT_STREQ(instance.record.name, "grpc");
  EXPECT_EQ(instance.record.engine, &engine);
  EXPECT_THAT(instance.record.hostWords, testing::Each(&mark));
}

TEST_F(Lifecycle, StopOfAnInstanceThatNeverStartedOnlyLogs) {
  instance.Stop();
  EXPECT_THAT(log.Texts(), ElementsAre("2 stopCycle(grpc)"));
  EXPECT_EQ(Slot(), nullptr);
}

TEST_F(Lifecycle, ASecondStopOnlyLogs) {
  StartModule();
  instance.Stop();
  log.Clear();
  instance.Stop();
  EXPECT_THAT(log.Texts(), ElementsAre("2 stopCycle(grpc)"));
  EXPECT_EQ(Slot(), nullptr);
}

TEST_F(Lifecycle, AStoppedInstanceStartsAgainOnTheSameAddress) {
  for (int i = 0; i < 3; ++i) {
    StartModule();
    StreamClient client(address, test::slowMethod);
    EXPECT_TRUE(EmitUntil(sim::Event::meterSlow, {{"n", i}}, [&] { return !client.Messages().empty(); }));
    EXPECT_EQ(client.LastMeter().entries(0).value().int_value(), i);
    instance.Stop();
  }
}

TEST_F(Lifecycle, ASecondStartOverwritesTheSlotUnseen) {
  int noState = 0;
  instance.record.moduleSlot = &noState;
  StartModule();
  EXPECT_NE(Slot(), &noState);
  EXPECT_NE(Slot(), nullptr);
  EXPECT_EQ(noState, 0);
}

TEST_F(Lifecycle, ASecondStartLeavesTheFirstOneRunning) {
  StartModule();
  void* const first = Slot();
  const std::string other = dir.UnixAddress("other");
  ASSERT_EQ(instance.Start({{"serverUrl", other}}), 0);
  EXPECT_NE(Slot(), first);
  EXPECT_EQ(engine.Registrations(), 6U);
  instance.Stop();
  EXPECT_FALSE(test::listening(other));
  EXPECT_TRUE(Listening());
  instance.record.moduleSlot = first;  // the host has to remember and stop what the slot has forgotten
  instance.Stop();
  EXPECT_FALSE(Listening());
}

TEST_F(Lifecycle, TwoInstancesAreIndependent) {
  sim::Engine otherEngine;
  sim::Instance other(module.Entry(), otherEngine, "other");
  const std::string otherAddress = dir.UnixAddress("other");
  StartModule();
  ASSERT_EQ(other.Start({{"serverUrl", otherAddress}}), 0);
  StreamClient client(otherAddress, test::changesMethod);
  const auto emit = [&] {
    engine.Emit(sim::Event::changes, {{"from", 1U}});
    otherEngine.Emit(sim::Event::changes, {{"from", 2U}});
    return !client.Messages().empty();
  };
  ASSERT_TRUE(test::eventually(emit));
  EXPECT_EQ(client.LastNotification().entries(0).value().uint_value(), 2U);
  instance.Stop();
  const std::size_t before = client.Messages().size();
  otherEngine.Emit(sim::Event::changes, {{"from", 3U}});
  EXPECT_TRUE(client.WaitForMessages(before + 1)) << "stopping one instance took the other with it";
}

}  // namespace
