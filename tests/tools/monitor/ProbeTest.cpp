#include "monitor/output/Probe.h"

#include <gmock/gmock.h>

namespace monitor {

TEST(Probe, WhatItHasStaysGoodWhenTheDeviceLeavesBeforeTheEnd) {
  Ending ending;
  Probe probe("mixer:50005", {Stream::fast}, ending);
  ConnectionState state{ConnectionState::Phase::connected, "", {}, true, true};
  probe.Change(state);
  probe.Take(Message());
  EXPECT_EQ(ending.Get(), ExitCode::endedByYou);
  state.phase = ConnectionState::Phase::waiting;
  state.reason = "the server ended the stream 'fast' with UNAVAILABLE";
  probe.Change(state);
  EXPECT_EQ(probe.Result(ExitCode::endedByYou), ExitCode::endedByYou);
  EXPECT_THAT(probe.Report(), testing::StartsWith("OK mixer:50005: fast after "));
}

}  // namespace monitor
