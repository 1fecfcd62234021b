#pragma once

#include <string>
#include <vector>

namespace sim {

/// Notes that a module broke its side of the interface. Thread-safe.
void reportMisuse(std::string what);

/// Takes all reports since the last call, oldest first. Thread-safe. A test fails when there are any.
std::vector<std::string> takeMisuse();

/// Marks the current thread as the host's for its lifetime: only then may a module read its configuration, and add and
/// remove callbacks.
class HostCall {
 public:
  HostCall();
  ~HostCall();
  HostCall(const HostCall&) = delete;
  HostCall& operator=(const HostCall&) = delete;
  /// Whether the current thread is in one.
  static bool Active();
};

/// Marks the current thread as an engine's for its lifetime, the delivery of an event: only then may a module walk a
/// list.
class EngineCall {
 public:
  EngineCall();
  ~EngineCall();
  EngineCall(const EngineCall&) = delete;
  EngineCall& operator=(const EngineCall&) = delete;
  /// Whether the current thread is in one.
  static bool Active();
};

}  // namespace sim
