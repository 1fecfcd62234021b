/* The smallest module: logs how many values each change event brings. See examples/README.md for how to build it. */
#include <corvalux/host.h>

static int32_t countOne(const KeyValueEntry* entry, void* user) {
  (void)entry;
  ++*(int*)user;
  return 0;
}

/* [engine-thread] */
static void onChange(KeyValueList values, void* user) {
  const HostModuleRecord* record = user;
  int count = 0;
  corvalux_keyValueListForEach(values, countOne, &count);
  corvalux_log(2, __FILE__, __LINE__, 1, "%s: %d values changed", record->name, count);
}

static int32_t start(HostModuleRecord* record, KeyValueList config) {
  (void)config; /* read it here with corvalux_keyValueListGetI and ...GetS; it is valid only during this call */
  record->moduleSlot = corvalux_engine_notify_changes_addCallback(record->engine, onChange, record);
  return record->moduleSlot ? 0 : -1;
}

static void stop(HostModuleRecord* record) {
  if (record->moduleSlot) corvalux_engine_notify_changes_rmCallback(record->engine, record->moduleSlot);
  record->moduleSlot = NULL; /* stop may be called twice */
}

const PluginEntry plugin_entry_0_6 = {.name = "counter", .startCycle = start, .stopCycle = stop, .word7 = 1};
const char* const plugin_entry_corvalux_module_version = "1.0.0";
