#include "gateway/devices/Summary.h"

#include <array>
#include <cmath>

namespace corvalux::gateway {

namespace {

using client::Entry;
using client::Stream;

constexpr std::array levelStreams = {Stream::fast, Stream::slow};
constexpr double mostClips = 1e15;  ///< a double still counts one by one

}  // namespace

std::optional<WorstLevel> worstLevel(Device& device) {
  std::optional<double> worst;
  const Entry* of = nullptr;
  for (const Stream stream : levelStreams) {
    const auto frame = device.Values().Newest(stream);
    if (!frame) continue;
    for (const std::size_t place : device.Peaks().In(*frame)) {
      const Entry& entry = frame->message.entries[place];
      const auto level = client::numberOf(entry.value);
      if (!level || std::isnan(*level) || (worst && *level <= *worst)) continue;
      worst = level;
      of = &entry;
    }
  }
  return of ? std::optional(WorstLevel{of->key, *worst, of->value}) : std::nullopt;
}

std::optional<double> clipCount(Device& device) {
  std::optional<double> sum;
  for (const Stream stream : levelStreams) {
    const auto frame = device.Values().Newest(stream);
    if (!frame) continue;
    for (const std::size_t place : device.Clips().In(*frame)) {
      const auto count = client::numberOf(frame->message.entries[place].value);
      if (count) sum = sum.value_or(0) + *count;
    }
  }
  return sum && std::abs(*sum) < mostClips ? sum : std::nullopt;
}

}  // namespace corvalux::gateway
