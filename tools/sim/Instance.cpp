#include "sim/Instance.h"

#include "sim/HostList.h"
#include "sim/Misuse.h"

namespace sim {

Instance::Instance(const PluginEntry& entry, Engine& engine, std::string_view name) : entry(entry) {
  name.copy(record.name, sizeof record.name - 1);
  record.engine = &engine;
}

Instance::~Instance() {
  if (stopNeeded) Stop();
}

int32_t Instance::Start(const KeyValues& config) {
  const HostList list(config);
  return Start(list.Handle());
}

int32_t Instance::StartWithoutConfig() { return Start(static_cast<KeyValueList>(nullptr)); }

int32_t Instance::Start(KeyValueList config) {
  const HostCall call;
  stopNeeded = true;
  return entry.startCycle(&record, config);
}

void Instance::Stop() {
  const HostCall call;
  stopNeeded = false;
  entry.stopCycle(&record);
}

}  // namespace sim
