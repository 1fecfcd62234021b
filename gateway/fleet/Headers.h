#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

namespace corvalux::gateway {

/// Who publishes: a gateway, and this run of it.
struct Origin {
  uint64_t start = 0;  ///< random at each start; of two that speak for a device the lower one goes on
  std::string name;

  bool operator==(const Origin&) const = default;
  bool operator<(const Origin& other) const { return std::tie(start, name) < std::tie(other.start, other.name); }
};

/// What stands beside a payload.
struct Headers {
  Origin origin;
  uint64_t sequence = 0;  ///< of a device's stream, from 1; 0: none
  double age = 0;         ///< seconds from arrival at the origin to publishing
  double clock = 0;       ///< seconds of the origin's monotonic clock at publishing
  uint32_t part = 0;      ///< of a picture, from 1; 0: none
};

namespace header {
inline constexpr const char* origin = "Corvalux-Origin";
inline constexpr const char* sequence = "Corvalux-Sequence";
inline constexpr const char* age = "Corvalux-Age";
inline constexpr const char* clock = "Corvalux-Clock";
inline constexpr const char* part = "Corvalux-Part";
}  // namespace header

std::string textOf(const Origin& origin);
/// Seconds to the microsecond.
std::string textOf(double seconds);

/// As they come; an empty text is an absent header.
struct HeaderTexts {
  std::string_view origin;
  std::string_view sequence;
  std::string_view age;
  std::string_view clock;
  std::string_view part;
};

/// Nothing for what nobody of the fleet writes. Origin and clock must be there.
/// Threads: any.
std::optional<Headers> headersOf(const HeaderTexts& texts);

}  // namespace corvalux::gateway
