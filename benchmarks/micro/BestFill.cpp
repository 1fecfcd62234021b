#include "micro/BestFill.h"

#include <cstring>

#include "module/grpc/grpc.h"

namespace bench {

namespace {

struct Cursor {
  google::protobuf::RepeatedPtrField<corvalux::grpc::KeyValue>* entries;
  int index = 0;
};

/// Whether the message has an array of that length already.
bool refillFloats(const KeyValueEntry& entry, corvalux::grpc::AnyValue* value) {
  if (!value->has_float_array()) return false;
  auto* values = value->mutable_float_array()->mutable_values();
  if (static_cast<uint64_t>(values->size()) != entry.count) return false;
  std::memcpy(values->mutable_data(), entry.value.array, entry.count * sizeof(float));
  return true;
}

int32_t fillEntry(const KeyValueEntry* entry, void* user) {
  auto* cursor = static_cast<Cursor*>(user);
  if (cursor->index == cursor->entries->size()) cursor->entries->Add();
  auto* keyValue = cursor->entries->Mutable(cursor->index++);
  if (std::strcmp(keyValue->key().c_str(), entry->key) != 0) keyValue->mutable_key()->assign(entry->key);
  auto* value = keyValue->mutable_value();
  if (entry->type == KEY_VALUE_FLOAT) {
    value->set_float_value(entry->value.floatValue);
  } else if (entry->type != KEY_VALUE_FLOAT_ARRAY || !refillFloats(*entry, value)) {
    corvalux::grpc::convertValue(entry, value);
  }
  return 0;
}

}  // namespace

void bestFill(KeyValueList list, corvalux::grpc::Meter& message) {
  Cursor cursor{message.mutable_entries()};
  corvalux_keyValueListForEach(list, fillEntry, &cursor);
  while (message.entries_size() > cursor.index) message.mutable_entries()->RemoveLast();
}

}  // namespace bench
