#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>

#include "sim/Engine.h"
#include "sim/Instance.h"
#include "sim/LoadedModule.h"
#include "sim/Misuse.h"
#include "support/CapturedLog.h"
#include "support/Eventually.h"
#include "support/TempDir.h"
#include "support/TimeOf.h"

namespace test {

/// The built module in a simulated engine. Fails when the module misuses the host's interface.
class ModuleTest : public testing::Test {
 protected:
  void TearDown() override {
    instance.Stop();
    EXPECT_EQ(sim::takeMisuse(), std::vector<std::string>{});
    EXPECT_EQ(engine.Registrations(), 0U);
  }

  /// Starts the module on `address`.
  void StartModule() { ASSERT_EQ(instance.Start({{"serverUrl", address}}), 0); }

  /// Stops the module; returns how long that took.
  std::chrono::nanoseconds TimedStop() {
    return timeOf([this] { instance.Stop(); });
  }

  /// Waits until `count` streams in all have ended, according to the log.
  bool StreamsEnded(std::size_t count) { return log.WaitFor("OnDone invoked", count); }

  /// Emits lists until `done`; false when it never is. A client gets nothing before its subscription has arrived, which
  /// takes a moment.
  bool EmitUntil(sim::Event event, const sim::KeyValues& values, const std::function<bool()>& done) {
    return eventually([&] {
      engine.Emit(event, values);
      return done();
    });
  }

  CapturedLog log;
  TempDir dir;
  const std::string address = dir.UnixAddress();
  sim::LoadedModule module{CORVALUX_MODULE_FILE};
  sim::Engine engine;
  sim::Instance instance{module.Entry(), engine};
};

}  // namespace test
