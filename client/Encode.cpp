#include "client/Encode.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <array>
#include <cstdint>
#include <type_traits>
#include <variant>
#include <vector>

#include "streams_bytes.pb.h"

namespace corvalux::client {

namespace {

namespace wire = ::corvalux::bytes;
using google::protobuf::internal::WireFormatLite;

template <typename T>
void add(const std::vector<T>& list, auto& array) {
  array.mutable_values()->Add(list.begin(), list.end());
}

/// The reverse of what Decode does.
struct Setter {
  wire::AnyValue& any;

  void operator()(std::monostate) const {}
  void operator()(const std::string& text) const { any.mutable_string_value()->set_data(text); }
  void operator()(float number) const { any.set_float_value(number); }
  void operator()(int32_t number) const { any.set_int_value(number); }
  void operator()(uint32_t number) const { any.set_uint_value(number); }
  void operator()(double number) const { any.set_double_value(number); }
  void operator()(const std::vector<float>& list) const { add(list, *any.mutable_float_array()); }
  void operator()(const std::vector<int32_t>& list) const { add(list, *any.mutable_int_array()); }
  void operator()(const std::vector<uint32_t>& list) const { add(list, *any.mutable_uint_array()); }
};

}  // namespace

std::string serialised(const Entry& entry) {
  wire::KeyValue made;
  made.set_key(entry.key);
  std::visit(Setter{*made.mutable_value()}, entry.value);
  return made.SerializeAsString();
}

void appendEntry(const Entry& entry, std::string& message) {
  appendEntry(std::string_view(serialised(entry)), message);
}

void appendEntry(std::string_view entry, std::string& message) {
  constexpr uint32_t tag = wire::Meter::kEntriesFieldNumber << 3 | WireFormatLite::WIRETYPE_LENGTH_DELIMITED;
  static_assert(tag < 0x80);
  std::array<uint8_t, 1 + 5> head{tag};
  const uint8_t* end = google::protobuf::io::CodedOutputStream::WriteVarint32ToArray(
      static_cast<uint32_t>(entry.size()), head.data() + 1);
  message.append(head.begin(), head.begin() + (end - head.data()));
  message.append(entry);
}

}  // namespace corvalux::client
