#include "fanout/server/MeterSubject.h"

#include <cstring>
#include <stdexcept>

#include "sim/Misuse.h"

namespace bench {

namespace {

struct Cursor {
  google::protobuf::RepeatedPtrField<corvalux::grpc::KeyValue>* entries;
  int index = 0;
};

void fillFloats(const KeyValueEntry& entry, google::protobuf::RepeatedField<float>* values) {
  const auto count = static_cast<int>(entry.count);
  if (values->size() != count) values->Resize(count, 0);
  if (count > 0) std::memcpy(values->mutable_data(), entry.value.array, entry.count * sizeof(float));
}

int32_t fillEntry(const KeyValueEntry* entry, void* user) {
  auto* cursor = static_cast<Cursor*>(user);
  if (cursor->index == cursor->entries->size()) cursor->entries->Add();
  auto* keyValue = cursor->entries->Mutable(cursor->index++);
  if (std::strcmp(keyValue->key().c_str(), entry->key) != 0) keyValue->mutable_key()->assign(entry->key);
  auto* value = keyValue->mutable_value();
  switch (entry->type) {
    case KEY_VALUE_FLOAT: value->set_float_value(entry->value.floatValue); break;
    case KEY_VALUE_FLOAT_ARRAY: fillFloats(*entry, value->mutable_float_array()->mutable_values()); break;
    default: throw std::invalid_argument("only floats are expected");
  }
  return 0;
}

void refill(KeyValueList list, corvalux::grpc::Meter& message) {
  Cursor cursor{message.mutable_entries()};
  corvalux_keyValueListForEach(list, fillEntry, &cursor);
  while (message.entries_size() > cursor.index) message.mutable_entries()->RemoveLast();
}

}  // namespace

void registerForMeters(sim::Engine& engine, EngineCallback callback, void* user) {
  const sim::HostCall call;
  if (!corvalux_engine_addCallbackMeterManager(&engine, 1, callback, user)) {
    throw std::runtime_error("the engine refused the callback");
  }
}

MeterSubject::MeterSubject(sim::Engine& engine) {
  registerForMeters(
      engine, [](KeyValueList list, void* user) { static_cast<MeterSubject*>(user)->Receive(list); }, this);
}

void MeterSubject::Receive(KeyValueList list) {
  refill(list, message);
  Send(message);
}

}  // namespace bench
