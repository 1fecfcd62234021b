#include "client/Value.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <type_traits>

#include "client/Utf8.h"

namespace corvalux::client {

namespace {

struct Describer {
  std::string operator()(std::monostate) const { return "?"; }
  std::string operator()(const std::string& text) const { return printable(text); }
  std::string operator()(int32_t number) const { return std::to_string(number); }
  std::string operator()(uint32_t number) const { return std::to_string(number); }
  std::string operator()(float number) const { return Short(number, 6); }
  std::string operator()(double number) const { return Short(number, 8); }

  template <typename T>
  std::string operator()(const std::vector<T>& numbers) const {
    std::string text = "[";
    for (const T number : numbers) text += (text.size() > 1 ? " " : "") + (*this)(number);
    return text + "]";
  }

  static std::string Short(double number, int digits) {
    std::array<char, 40> text;
    std::snprintf(text.data(), text.size(), "%.*g", digits, number);
    return text.data();
  }
};

struct ToNumber {
  template <typename T>
  std::optional<double> operator()(const T& value) const {
    if constexpr (std::is_arithmetic_v<T>) return static_cast<double>(value);
    return std::nullopt;
  }
};

}  // namespace

const char* kindName(const Value& value) {
  static constexpr std::array names = {"none",        "string",    "float",      "int",   "uint",
                                       "float_array", "int_array", "uint_array", "double"};
  static_assert(names.size() == std::variant_size_v<Value>);
  return names.at(value.index());
}

std::optional<double> numberOf(const Value& value) { return std::visit(ToNumber(), value); }

std::string describe(const Value& value) { return std::visit(Describer(), value); }

double withoutTail(float value) {
  if (!std::isfinite(value)) return value;
  std::array<char, 32> digits;
  const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  double result = 0;
  std::from_chars(digits.data(), written.ptr, result);
  return result;
}

}  // namespace corvalux::client
