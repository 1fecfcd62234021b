#include "devhost/replay/HostValues.h"

#include <cstdint>
#include <variant>
#include <vector>

#include "streams_bytes.pb.h"

namespace replay {

namespace {

using ::corvalux::bytes::AnyValue;
using ::corvalux::bytes::Meter;

constexpr int32_t noKind = -1;

template <typename Element>
std::vector<Element> elementsOf(const google::protobuf::RepeatedField<Element>& values) {
  return {values.begin(), values.end()};
}

sim::Value hostValueOf(const AnyValue& value) {
  switch (value.value_case()) {
    case AnyValue::kStringValue: return value.string_value().data();
    case AnyValue::kFloatValue: return value.float_value();
    case AnyValue::kIntValue: return value.int_value();
    case AnyValue::kUintValue: return value.uint_value();
    case AnyValue::kFloatArray: return elementsOf(value.float_array().values());
    case AnyValue::kIntArray: return elementsOf(value.int_array().values());
    case AnyValue::kUintArray: return elementsOf(value.uint_array().values());
    case AnyValue::kDoubleValue: return value.double_value();
    case AnyValue::VALUE_NOT_SET: break;
  }
  return sim::UnknownKind{noKind};
}

/// Sets the value that a module sends for a host's value.
struct Sent {
  AnyValue& value;

  // As a C string, because that is how the host passes a text.
  void operator()(const std::string& v) const { value.mutable_string_value()->set_data(v.c_str()); }
  void operator()(float v) const { value.set_float_value(v); }
  void operator()(int32_t v) const { value.set_int_value(v); }
  void operator()(uint32_t v) const { value.set_uint_value(v); }
  void operator()(double v) const { value.set_double_value(v); }
  void operator()(const std::vector<float>& v) const { Assign(v, value.mutable_float_array()); }
  void operator()(const std::vector<int32_t>& v) const { Assign(v, value.mutable_int_array()); }
  void operator()(const std::vector<uint32_t>& v) const { Assign(v, value.mutable_uint_array()); }
  void operator()(const sim::UnknownKind& /*v*/) const {}

  template <typename Element, typename Array>
  static void Assign(const std::vector<Element>& elements, Array* array) {
    array->mutable_values()->Add(elements.begin(), elements.end());
  }
};

std::string sentFor(const sim::KeyValues& list) {
  Meter message;
  for (const sim::NamedValue& named : list) {
    auto& entry = *message.add_entries();
    entry.set_key(named.key.c_str());
    std::visit(Sent{*entry.mutable_value()}, named.value);
  }
  return message.SerializeAsString();
}

}  // namespace

std::optional<sim::KeyValues> hostValuesOf(const std::string& bytes) {
  Meter message;
  if (!message.ParseFromString(bytes)) return std::nullopt;
  sim::KeyValues list;
  for (const auto& entry : message.entries()) list.push_back({entry.key(), hostValueOf(entry.value())});
  if (sentFor(list) != bytes) return std::nullopt;
  return list;
}

}  // namespace replay
