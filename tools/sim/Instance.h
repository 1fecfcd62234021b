#pragma once

#include <string_view>

#include "corvalux/host.h"
#include "sim/Engine.h"
#include "sim/KeyValues.h"

namespace sim {

/// One instance of a module: the host's record, and the calls that start and stop it. The destructor stops it.
/// Threads: use on one thread at a time. Ownership: `entry` and `engine` must outlive it.
class Instance {
 public:
  Instance(const PluginEntry& entry, Engine& engine, std::string_view name = "grpc");
  ~Instance();
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  /// Calls the module's start routine with a list that is destroyed when it returns.
  int32_t Start(const KeyValues& config);
  /// The same with a null list.
  int32_t StartWithoutConfig();
  /// Calls the module's stop routine, each time it is called.
  void Stop();

  HostModuleRecord record{};

 private:
  int32_t Start(KeyValueList config);

  const PluginEntry& entry;
  bool stopNeeded = false;
};

}  // namespace sim
