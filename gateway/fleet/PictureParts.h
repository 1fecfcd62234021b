#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/Stream.h"
#include "gateway/devices/Picture.h"

namespace corvalux::gateway {

/// Some of the present values of a device, as another gateway has them.
struct PicturePart {
  client::Stream stream = client::Stream::fast;
  std::vector<AgedEntry> entries;
  bool last = false;
};

/// Bytes of a part, unless one entry alone is larger.
inline constexpr std::size_t partBytes = 448UL << 10;

/// A device's values as messages corvalux.live.Snapshot, at least one.
/// Threads: the loop's.
std::vector<std::string> partsOf(const Picture& picture, std::chrono::steady_clock::time_point now);

/// Of a message that came `lateness` after it was made. Nothing if the bytes are no such message.
/// Threads: any.
std::optional<PicturePart> partOf(std::string_view bytes, std::chrono::steady_clock::time_point now,
                                  std::chrono::duration<double> lateness);

}  // namespace corvalux::gateway
