#include "monitor/values/Decode.h"

#if __has_include(<google/protobuf/stubs/logging.h>)
#include <google/protobuf/stubs/logging.h>
#define CORVALUX_PARSER_CAN_BE_SILENCED
#endif

#include "corvalux/grpc/streams.pb.h"

namespace monitor {

namespace {

/// The parser writes a line of its own for every text that is not UTF-8, on top of what this program says, and into
/// its screen. Newer releases can only be silenced for the whole process.
void silenceParser() {
#ifdef CORVALUX_PARSER_CAN_BE_SILENCED
  [[maybe_unused]] static const auto before = google::protobuf::SetLogHandler(nullptr);
#endif
}

template <typename List>
auto vectorOf(const List& list) {
  return std::vector(list.values().begin(), list.values().end());
}

/// The one place that knows how the schema's kinds become values.
Value valueOf(const ::corvalux::grpc::AnyValue& value) {
  using Any = ::corvalux::grpc::AnyValue;
  switch (value.value_case()) {
    case Any::kStringValue: return value.string_value().data();
    case Any::kFloatValue: return value.float_value();
    case Any::kIntValue: return value.int_value();
    case Any::kUintValue: return value.uint_value();
    case Any::kFloatArray: return vectorOf(value.float_array());
    case Any::kIntArray: return vectorOf(value.int_array());
    case Any::kUintArray: return vectorOf(value.uint_array());
    case Any::kDoubleValue: return value.double_value();
    case Any::VALUE_NOT_SET: break;
  }
  return {};
}

template <typename Message>
std::optional<std::vector<Entry>> decodeAs(const std::string& bytes) {
  silenceParser();
  Message message;
  if (!message.ParseFromString(bytes)) return std::nullopt;
  std::vector<Entry> entries;
  entries.reserve(static_cast<std::size_t>(message.entries_size()));
  for (const auto& entry : message.entries()) entries.push_back({entry.key(), valueOf(entry.value())});
  return entries;
}

}  // namespace

std::optional<std::vector<Entry>> decode(Stream stream, const std::string& bytes) {
  if (stream == Stream::changes) return decodeAs<::corvalux::grpc::Notification>(bytes);
  return decodeAs<::corvalux::grpc::Meter>(bytes);
}

}  // namespace monitor
