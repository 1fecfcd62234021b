// The functions that a module imports from its host, except the log.
#include <cstring>
#include <string>

#include "corvalux/host.h"
#include "sim/Engine.h"
#include "sim/HostList.h"
#include "sim/Misuse.h"

namespace {

const KeyValueEntry* find(KeyValueList list, const char* key, int32_t type) {
  if (!sim::HostCall::Active()) sim::reportMisuse(std::string("configuration read on a wrong thread: ") + key);
  if (!sim::isLive(list)) {
    sim::reportMisuse(std::string("configuration read from a dead list: ") + key);
    return nullptr;
  }
  for (const KeyValueEntry& entry : list->entries) {
    if (entry.type == type && std::strcmp(entry.key, key) == 0) return &entry;
  }
  return nullptr;
}

/// The engine of a handle; if there is none, reports misuse and returns null.
sim::Engine* engineOf(EngineHandle handle, const char* function) {
  sim::Engine* engine = sim::resolve(handle);
  if (sim::isLive(engine)) return engine;
  sim::reportMisuse(std::string(function) + " called with an unknown engine");
  return nullptr;
}

}  // namespace

int32_t corvalux_keyValueListGetI(KeyValueList list, const char* key, int32_t* out) {
  const KeyValueEntry* entry = find(list, key, KEY_VALUE_INT);
  if (!entry) return 1;
  *out = entry->value.intValue;
  return 0;
}

int32_t corvalux_keyValueListGetS(KeyValueList list, const char* key, const char** out) {
  const KeyValueEntry* entry = find(list, key, KEY_VALUE_TEXT);
  if (!entry) return 1;
  *out = entry->value.text;
  return 0;
}

int32_t corvalux_keyValueListForEach(KeyValueList list, KeyValueVisitor visitor, void* user) {
  if (!sim::EngineCall::Active()) sim::reportMisuse("list walked outside of an event");
  if (!sim::isLive(list)) {
    sim::reportMisuse("dead list walked");
    return 1;
  }
  for (const KeyValueEntry& entry : list->entries) {
    if (list->onVisit) list->onVisit();
    ++list->visits;
    KeyValueEntry visible;  // valid for this visit only
    void* const seen = &visible;
    const void* const kept = &entry;
    std::memcpy(seen, kept, sizeof entry);  // with its padding, which is compared too
    if (visitor(&visible, user) != 0) sim::reportMisuse("visitor answered other than 0");
    if (std::memcmp(seen, kept, sizeof entry) != 0) sim::reportMisuse("visitor wrote to an entry");
    std::memset(seen, 0xDD, sizeof visible);
  }
  return list->walkResult;
}

CallbackHandle corvalux_engine_addCallbackMeterManager(EngineHandle handle, int32_t fast, EngineCallback callback,
                                                       void* user) {
  sim::Engine* engine = engineOf(handle, __func__);
  if (!engine) return nullptr;
  if (fast != 0 && fast != 1) sim::reportMisuse("meter callback added with a cadence other than 0 and 1");
  return engine->Add(fast != 0 ? sim::Event::meterFast : sim::Event::meterSlow, callback, user);
}

void corvalux_engine_rmCallbackMeterManager(EngineHandle engine, CallbackHandle handle) {
  if (sim::Engine* found = engineOf(engine, __func__)) found->Remove(handle, true);
}

CallbackHandle corvalux_engine_notify_changes_addCallback(EngineHandle handle, EngineCallback callback, void* user) {
  sim::Engine* engine = engineOf(handle, __func__);
  return engine ? engine->Add(sim::Event::changes, callback, user) : nullptr;
}

void corvalux_engine_notify_changes_rmCallback(EngineHandle engine, CallbackHandle handle) {
  if (sim::Engine* found = engineOf(engine, __func__)) found->Remove(handle, false);
}
