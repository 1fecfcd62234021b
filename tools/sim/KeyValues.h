#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace sim {

/// A value of a kind that no module knows: the type code and the eight bytes of the value.
struct UnknownKind {
  int32_t type;
  uint64_t bits = 0;
};

/// A value of one of the host's eight kinds, or of an unknown one.
using Value = std::variant<uint32_t, int32_t, float, double, std::string, std::vector<uint32_t>, std::vector<int32_t>,
                           std::vector<float>, UnknownKind>;

struct NamedValue {
  std::string key;
  Value value;
};

/// The content of a host list, in order; keys may repeat. A HostList gives it the binary form.
using KeyValues = std::vector<NamedValue>;

}  // namespace sim
