#include "monitor/output/FirstMessages.h"

#include <gmock/gmock.h>

namespace corvalux::monitor {

TEST(FirstMessages, WhatItHasStaysGoodWhenTheDeviceLeavesBeforeTheEnd) {
  Ending ending;
  FirstMessages probe("mixer:50005", {client::Stream::fast}, ending);
  client::ConnectionState state{client::ConnectionState::Phase::connected, "", {}, true, true};
  probe.Change(state);
  probe.Take(client::Message());
  EXPECT_EQ(ending.Get(), ExitCode::endedByYou);
  state.phase = client::ConnectionState::Phase::waiting;
  state.reason = "the server ended the stream 'fast' with UNAVAILABLE";
  probe.Change(state);
  EXPECT_EQ(probe.Result(ExitCode::endedByYou), ExitCode::endedByYou);
  EXPECT_THAT(probe.Report(), testing::StartsWith("OK mixer:50005: fast after "));
}

}  // namespace corvalux::monitor
