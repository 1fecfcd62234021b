// A module that removes one of its callbacks twice, and forgets the other.
#include "corvalux/host.h"

namespace {

void ignore(KeyValueList, void*) {}

int32_t start(HostModuleRecord* record, KeyValueList) {
  record->moduleSlot = corvalux_engine_addCallbackMeterManager(record->engine, 1, ignore, nullptr);
  corvalux_engine_notify_changes_addCallback(record->engine, ignore, nullptr);
  return 0;
}

void stop(HostModuleRecord* record) {
  const auto handle = static_cast<CallbackHandle>(record->moduleSlot);
  corvalux_engine_rmCallbackMeterManager(record->engine, handle);
  corvalux_engine_rmCallbackMeterManager(record->engine, handle);
}

}  // namespace

const PluginEntry plugin_entry_0_6 = {"misusing", nullptr, start, nullptr, stop, nullptr, nullptr, 1};
const char* const plugin_entry_corvalux_module_version = "1.2.3";
