#include "fuzz/WireModel.h"

#include <bit>
#include <cstdint>

namespace fuzz {

namespace {

std::string varint(uint64_t value) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7) bytes.push_back(static_cast<char>(value | 0x80));
  bytes.push_back(static_cast<char>(value));
  return bytes;
}

template <typename Unsigned>
std::string littleEndian(Unsigned value) {
  std::string bytes;
  for (std::size_t i = 0; i < sizeof value; ++i) bytes.push_back(static_cast<char>(value >> (8 * i)));
  return bytes;
}

std::string lengthDelimited(char key, const std::string& body) { return key + varint(body.size()) + body; }

/// A field that is left out when it is empty.
std::string field1(const std::string& body) { return body.empty() ? "" : lengthDelimited(0x0A, body); }

template <typename Element>
std::string packed(const std::vector<Element>& values) {
  std::string body;
  for (const Element value : values) body += littleEndian(std::bit_cast<uint32_t>(value));
  return field1(body);
}

struct AnyValueEncoder {
  std::string operator()(const std::string& v) const { return lengthDelimited(0x0A, field1(v)); }
  std::string operator()(float v) const { return "\x15" + littleEndian(std::bit_cast<uint32_t>(v)); }
  std::string operator()(int32_t v) const { return "\x18" + varint(static_cast<uint64_t>(static_cast<int64_t>(v))); }
  std::string operator()(uint32_t v) const { return "\x20" + varint(v); }
  std::string operator()(const std::vector<float>& v) const { return lengthDelimited(0x2A, packed(v)); }
  std::string operator()(const std::vector<int32_t>& v) const { return lengthDelimited(0x32, packed(v)); }
  std::string operator()(const std::vector<uint32_t>& v) const { return lengthDelimited(0x3A, packed(v)); }
  std::string operator()(double v) const { return "\x41" + littleEndian(std::bit_cast<uint64_t>(v)); }
  std::string operator()(const sim::UnknownKind& /*v*/) const { return ""; }
};

}  // namespace

std::string encode(const std::vector<ModelEntry>& entries) {
  std::string bytes;
  for (const ModelEntry& entry : entries) {
    const std::string value = entry.value ? std::visit(AnyValueEncoder{}, *entry.value) : "";
    bytes += lengthDelimited(0x0A, field1(entry.key) + lengthDelimited(0x12, value));
  }
  return bytes;
}

}  // namespace fuzz
