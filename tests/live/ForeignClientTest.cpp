// A client that shares no code with this project: Python's gRPC and Protocol Buffers, from the published schema alone.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "live/LiveTest.h"
#include "sim/Ticker.h"
#include "support/Process.h"

namespace {

using namespace std::chrono_literals;
using sim::Event;

class ForeignClient : public test::LiveTest {};

/// All eight kinds, and the stream's name; foreign_client.py knows these values.
sim::KeyValues valuesOf(Event event) {
  return {{"stream", std::string(sim::nameOf(event))},
          {"unsigned", 4294967295U},
          {"signed", -2147483647 - 1},
          {"float", 0.5F},
          {"double", 0.1},
          {"text", std::string("on air \xC3\xA4")},
          {"unsigneds", std::vector<uint32_t>{0, 1, 4294967295U}},
          {"signeds", std::vector<int32_t>{-1, 0, 2147483647}},
          {"floats", std::vector<float>{-1.5F, 0, 2}},
          {"unknown", sim::UnknownKind{99}}};
}

TEST_F(ForeignClient, InPythonReadsAllKindsOnAllStreams) {
  StartModule();
  std::vector<std::unique_ptr<sim::Ticker>> events;
  for (const Event event : {Event::meterFast, Event::meterSlow, Event::changes}) {
    events.push_back(std::make_unique<sim::Ticker>(10ms, [this, event] { engine.Emit(event, valuesOf(event)); }));
  }
  test::Process client({"/usr/bin/python3", CORVALUX_FOREIGN_CLIENT, address, CORVALUX_PYTHON_SCHEMA});
  EXPECT_EQ(client.Wait(), 0) << client.Output() << client.Errors()
                              << "\n(it needs Debian's python3-grpcio and python3-protobuf)";
  EXPECT_TRUE(client.HasPrinted("3 streams read, 10 messages each")) << client.Output() << client.Errors();
}

TEST_F(ForeignClient, InPythonIsEndedByStop) {
  StartModule();
  auto events = std::make_unique<sim::Ticker>(1ms, [this] { engine.Emit(Event::meterFast, {}); });
  test::Process client(
      {"/usr/bin/python3", CORVALUX_FOREIGN_CLIENT, address, CORVALUX_PYTHON_SCHEMA, "--until-the-end"});
  ASSERT_TRUE(test::eventually([&] { return client.HasPrinted("subscribed"); })) << client.Output() << client.Errors();
  EXPECT_LT(TimedStop(), 2s);
  EXPECT_EQ(client.Wait(), 0) << client.Output() << client.Errors();
  EXPECT_TRUE(client.HasPrinted("ended: CANCELLED ''")) << client.Output() << client.Errors();
}

}  // namespace
