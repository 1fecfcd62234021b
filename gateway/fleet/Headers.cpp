#include "gateway/fleet/Headers.h"

#include <array>
#include <charconv>
#include <cmath>

#include "gateway/settings/DeviceList.h"

namespace corvalux::gateway {

namespace {

constexpr std::size_t startDigits = 16;
constexpr double longestTime = 1e12;  ///< seconds
constexpr double longestAge = 1e6;

/// The whole text as a number.
template <typename Number, typename... Format>
bool read(std::string_view text, Number& number, Format... format) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, format...);
  return error == std::errc() && end == text.data() + text.size();
}

bool readSeconds(std::string_view text, double& seconds, double most) {
  return read(text, seconds, std::chars_format::fixed) && std::isfinite(seconds) && seconds >= 0 && seconds <= most;
}

bool readOrigin(std::string_view text, Origin& origin) {
  const auto space = text.find(' ');
  if (space == std::string_view::npos || !isName(text.substr(0, space))) return false;
  origin.name = text.substr(0, space);
  const auto start = text.substr(space + 1);
  return start.size() == startDigits && read(start, origin.start, 16);
}

}  // namespace

std::string textOf(const Origin& origin) {
  std::array<char, startDigits> digits;
  const auto end = std::to_chars(digits.begin(), digits.end(), origin.start, 16).ptr;
  const std::string_view written(digits.data(), static_cast<std::size_t>(end - digits.data()));
  return origin.name + ' ' + std::string(startDigits - written.size(), '0') + std::string(written);
}

std::string textOf(double seconds) {
  std::array<char, 32> text;
  const auto end = std::to_chars(text.begin(), text.end(), seconds, std::chars_format::fixed, 6).ptr;
  return {text.begin(), end};
}

std::optional<Headers> headersOf(const HeaderTexts& texts) {
  Headers headers;
  if (!readOrigin(texts.origin, headers.origin)) return std::nullopt;
  if (!readSeconds(texts.clock, headers.clock, longestTime)) return std::nullopt;
  if (!texts.age.empty() && !readSeconds(texts.age, headers.age, longestAge)) return std::nullopt;
  if (!texts.sequence.empty() && !read(texts.sequence, headers.sequence)) return std::nullopt;
  if (!texts.part.empty() && !read(texts.part, headers.part)) return std::nullopt;
  return headers;
}

}  // namespace corvalux::gateway
