#pragma once

#include <array>
#include <cstddef>

namespace corvalux::client {

/// What a device streams.
enum class Stream { fast, slow, changes };

inline constexpr std::array allStreams = {Stream::fast, Stream::slow, Stream::changes};

constexpr std::size_t indexOf(Stream stream) { return static_cast<std::size_t>(stream); }

/// The stream's name, as in command lines and JSON.
constexpr const char* nameOf(Stream stream) { return std::array{"fast", "slow", "changes"}.at(indexOf(stream)); }

constexpr const char* methodOf(Stream stream) {
  return std::array{"/corvalux.grpc.Meters/GetMetersFast", "/corvalux.grpc.Meters/GetMetersSlow",
                    "/corvalux.grpc.Notifications/GetNotifications"}
      .at(indexOf(stream));
}

}  // namespace corvalux::client
