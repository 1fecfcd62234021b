#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace corvalux::client {

/// A value of one of the eight kinds, or none if the server did not know the kind. The alternatives are in the order of
/// the schema's field numbers; texts are UTF-8.
using Value = std::variant<std::monostate, std::string, float, int32_t, uint32_t, std::vector<float>,
                           std::vector<int32_t>, std::vector<uint32_t>, double>;

struct Entry {
  std::string key;
  Value value;

  bool operator==(const Entry&) const = default;
};

/// The kind as the schema names it: "string", "float", ..., "float_array", ..., or "none".
const char* kindName(const Value& value);

/// The value as a number, if it is a single number.
std::optional<double> numberOf(const Value& value);

/// The value in human-readable form, without control characters: numbers short, arrays in brackets.
std::string describe(const Value& value);

/// The double with the float's shortest decimal form: -12.3f becomes -12.3, not -12.300000190734863.
double withoutTail(float value);

}  // namespace corvalux::client
