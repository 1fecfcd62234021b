#include "client/Decode.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <string>
#include <utility>

#include "client/Utf8.h"
#include "streams_bytes.pb.h"

namespace corvalux::client {

namespace {

namespace wire = ::corvalux::bytes;
using google::protobuf::internal::WireFormatLite;

// So one decoder serves both.
static_assert(int{wire::Meter::kEntriesFieldNumber} == int{wire::Notification::kEntriesFieldNumber});

constexpr uint32_t entryTag = wire::Meter::kEntriesFieldNumber << 3 | WireFormatLite::WIRETYPE_LENGTH_DELIMITED;

template <typename List>
auto vectorOf(const List& list) {
  return std::vector(list.values().begin(), list.values().end());
}

/// The only place that converts the schema's kinds to values.
Value valueOf(const wire::AnyValue& value) {
  using Any = wire::AnyValue;
  switch (value.value_case()) {
    case Any::kStringValue: return std::string(value.string_value().data());
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

void add(const wire::KeyValue& parsed, Decoded& decoded) {
  Entry& entry = decoded.entries.emplace_back(Entry{std::string(parsed.key()), valueOf(parsed.value())});
  decoded.repairedTexts += repairUtf8(entry.key) ? 1 : 0;
  if (auto* text = std::get_if<std::string>(&entry.value)) decoded.repairedTexts += repairUtf8(*text) ? 1 : 0;
}

}  // namespace

std::optional<std::vector<std::string_view>> entriesIn(std::string_view message) {
  google::protobuf::io::CodedInputStream input(reinterpret_cast<const uint8_t*>(message.data()),
                                               static_cast<int>(message.size()));
  std::vector<std::string_view> entries;
  while (const uint32_t tag = input.ReadTag()) {
    uint32_t size = 0;
    if (tag != entryTag) {
      if (!WireFormatLite::SkipField(&input, tag)) return std::nullopt;
      continue;
    }
    if (!input.ReadVarint32(&size)) return std::nullopt;
    const auto begin = static_cast<std::size_t>(input.CurrentPosition());
    if (!input.Skip(static_cast<int>(size))) return std::nullopt;
    entries.push_back(message.substr(begin, size));
  }
  // A tag of 0 ends the loop too; no valid message has one.
  return input.ConsumedEntireMessage() ? std::optional(std::move(entries)) : std::nullopt;
}

std::optional<Decoded> decode(std::string_view message) {
  const auto pieces = entriesIn(message);
  if (!pieces) return std::nullopt;
  Decoded decoded;
  decoded.entries.reserve(pieces->size());
  wire::KeyValue entry;
  for (const std::string_view piece : *pieces) {
    if (!entry.ParseFromArray(piece.data(), static_cast<int>(piece.size()))) return std::nullopt;
    add(entry, decoded);
  }
  return decoded;
}

Message messageOf(Stream stream, const Arrival& arrival, std::string bytes) {
  auto decoded = decode(bytes);
  Message message{stream, arrival, std::move(bytes), decoded.has_value(), {}, 0};
  if (!decoded) return message;
  message.entries = std::move(decoded->entries);
  message.repairedTexts = decoded->repairedTexts;
  return message;
}

}  // namespace corvalux::client
