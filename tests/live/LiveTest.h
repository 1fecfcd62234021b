#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "live/RawCall.h"
#include "support/ModuleTest.h"
#include "support/StreamClient.h"

namespace test {

/// A list that carries a counter and, to give it weight, `floats` numbers.
inline sim::KeyValues counted(uint32_t counter, std::size_t floats = 0) {
  return {{"counter", counter}, {"weight", std::vector<float>(floats, 0.5F)}};
}

/// More than an HTTP/2 stream's window takes: a message of that many floats gets stuck when the client does not read.
constexpr std::size_t heavy = 50'000;

class LiveTest : public ModuleTest {
 protected:
  /// The counter of the last message before a test begins with its own.
  static constexpr uint32_t last = 1'000'000;

  /// Starts the module with room for many clients and large messages.
  void StartRoomyModule() { ASSERT_EQ(instance.Start({{"serverUrl", address}, {"grpc_memory_kb", 1 << 20}}), 0); }

  /// Emits until the client is subscribed; false when it never is. Afterwards nothing more is on its way to it.
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

  /// Stops the module and tells how long that took.
  std::chrono::milliseconds Stop() {
    const auto begin = std::chrono::steady_clock::now();
    instance.Stop();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
  }
};

}  // namespace test
