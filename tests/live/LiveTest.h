#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>

#include "live/RawCall.h"
#include "support/ModuleTest.h"
#include "support/StreamClient.h"

namespace test {

/// A list of a counter and, as its weight, `floats` numbers.
inline sim::KeyValues counted(uint32_t counter, std::size_t floats = 0) {
  return {{"counter", counter}, {"weight", std::vector<float>(floats, 0.5F)}};
}

/// A message of so many floats is larger than an HTTP/2 stream's window: it gets stuck if the client does not read.
constexpr std::size_t heavy = 50'000;

class LiveTest : public ModuleTest {
 protected:
  /// The counter of the last message before a test begins with its own.
  static constexpr uint32_t last = 1'000'000;

  /// Starts the module with room for many clients and large messages.
  void StartRoomyModule() { ASSERT_EQ(instance.Start({{"serverUrl", address}, {"grpc_memory_kb", 1 << 20}}), 0); }

  /// Emits until the client is subscribed; false when it never is. Afterwards the client has all that was sent to it.
  bool Subscribed(StreamClient& client, sim::Event event = sim::Event::meterFast) {
    if (!EmitUntil(event, counted(0), [&] { return !client.Messages().empty(); })) return false;
    engine.Emit(event, counted(last));
    return eventually([&] { return counterOf(client.Messages().back()) == last; });
  }
  bool Subscribed(RawCall& call, sim::Event event = sim::Event::meterFast) {
    if (!EmitUntil(event, counted(0), [&] { return call.Read(std::chrono::milliseconds(1)).has_value(); }))
      return false;
    engine.Emit(event, counted(last));
    for (auto bytes = call.Read(); bytes; bytes = call.Read()) {
      if (counterOf(*bytes) == last) return true;
    }
    return false;
  }

  /// Emits the event and waits until the client has it, as its newest message.
  bool Delivered(sim::Event event, const sim::KeyValues& values, StreamClient& client) {
    const std::size_t before = client.Count();
    engine.Emit(event, values);
    return client.WaitForMessages(before + 1);
  }

  /// Emits to a client that does not read more than its window holds. The first list may still fit behind the one
  /// before it; of so many one must get stuck.
  void FillUp(sim::Event event) {
    for (int i = 0; i < 50; ++i) {
      engine.Emit(event, counted(1, heavy));
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
};

}  // namespace test
