#include "micro/PlainHost.h"

#include <string>
#include <type_traits>
#include <variant>

namespace bench {

namespace {

std::size_t walkCount = 0;

struct Visitor {
  KeyValueEntry& entry;

  void operator()(uint32_t v) const { entry.type = KEY_VALUE_UINT, entry.value.uintValue = v; }
  void operator()(int32_t v) const { entry.type = KEY_VALUE_INT, entry.value.intValue = v; }
  void operator()(float v) const { entry.type = KEY_VALUE_FLOAT, entry.value.floatValue = v; }
  void operator()(double v) const { entry.type = KEY_VALUE_DOUBLE, entry.value.doubleValue = v; }
  void operator()(const std::string& v) const { entry.type = KEY_VALUE_TEXT, entry.value.text = v.c_str(); }
  void operator()(const std::vector<uint32_t>& v) const { SetArray(KEY_VALUE_UINT_ARRAY, v); }
  void operator()(const std::vector<int32_t>& v) const { SetArray(KEY_VALUE_INT_ARRAY, v); }
  void operator()(const std::vector<float>& v) const { SetArray(KEY_VALUE_FLOAT_ARRAY, v); }
  void operator()(const sim::UnknownKind& v) const { entry.type = v.type; }

  void SetArray(int32_t type, const auto& values) const {
    entry.type = type;
    entry.value.array = values.data();
    entry.count = values.size();
  }
};

}  // namespace

PlainList::PlainList(const sim::KeyValues& values) {
  for (const sim::NamedValue& named : values) {
    KeyValueEntry& entry = list.entries.emplace_back();
    entry.key = named.key.c_str();
    std::visit(Visitor{entry}, named.value);
  }
}

std::size_t walks() { return walkCount; }

}  // namespace bench

// The host's functions that the benchmarks call, and those that only a start of the module would call.

void corvalux_log(int32_t /*level*/, const char* /*file*/, int32_t /*line*/, int32_t /*flag*/, const char* /*format*/,
                  ...) {}

int32_t corvalux_keyValueListForEach(KeyValueList list, KeyValueVisitor visitor, void* user) {
  ++bench::walkCount;
  for (const KeyValueEntry& entry : list->entries) visitor(&entry, user);
  return 0;
}

int32_t corvalux_keyValueListGetI(KeyValueList /*list*/, const char* /*key*/, int32_t* /*out*/) { return 1; }
int32_t corvalux_keyValueListGetS(KeyValueList /*list*/, const char* /*key*/, const char** /*out*/) { return 1; }

CallbackHandle corvalux_engine_addCallbackMeterManager(EngineHandle /*engine*/, int32_t /*fast*/,
                                                       EngineCallback /*callback*/, void* /*user*/) {
  return nullptr;
}
void corvalux_engine_rmCallbackMeterManager(EngineHandle /*engine*/, CallbackHandle /*handle*/) {}
CallbackHandle corvalux_engine_notify_changes_addCallback(EngineHandle /*engine*/, EngineCallback /*callback*/,
                                                          void* /*user*/) {
  return nullptr;
}
void corvalux_engine_notify_changes_rmCallback(EngineHandle /*engine*/, CallbackHandle /*handle*/) {}
