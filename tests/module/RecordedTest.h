#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "module/GrpcCalls.h"
#include "support/ModuleTest.h"

namespace test {

using Texts = std::vector<std::string>;

/// Whether a `unix:` address accepts connections.
bool listening(const std::string& address);

/// The texts with each pointer in them replaced by "#1", "#2" and so on, in order of appearance.
Texts withoutPointers(Texts texts);

/// A module whose calls to the gRPC library are recorded.
class RecordedTest : public ModuleTest {
 protected:
  /// Starts with this test's own address, and further settings.
  int32_t StartWith(sim::KeyValues settings);

  /// The log lines of settings, but for the address.
  Texts SettingLines() const;

  bool Listening() const { return listening(address); }
  void* Slot() const { return instance.record.moduleSlot; }

  GrpcCalls grpc;
};

}  // namespace test
