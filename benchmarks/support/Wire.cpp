#include "support/Wire.h"

#include <algorithm>

#include "corvalux/grpc/streams.pb.h"

namespace bench {

std::string wireBytes(const Load& load, unsigned sequence) {
  sim::KeyValues values = load.values;
  setSequence(values, sequence);
  corvalux::grpc::Meter message;
  for (const sim::NamedValue& named : values) {
    auto* entry = message.add_entries();
    entry->set_key(named.key);
    if (const auto* single = std::get_if<float>(&named.value)) {
      entry->mutable_value()->set_float_value(*single);
    } else {
      const auto& array = std::get<std::vector<float>>(named.value);
      entry->mutable_value()->mutable_float_array()->mutable_values()->Add(array.begin(), array.end());
    }
  }
  return message.SerializeAsString();
}

std::size_t sequenceOffset(const Load& load) {
  const std::string zeros = wireBytes(load, 0);
  const std::string ones = wireBytes(load, 0x01010101);
  const auto differs = std::mismatch(zeros.begin(), zeros.end(), ones.begin()).first;
  return static_cast<std::size_t>(differs - zeros.begin());
}

}  // namespace bench
