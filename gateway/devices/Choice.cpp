#include "gateway/devices/Choice.h"

namespace corvalux::gateway {

const std::vector<std::size_t>& Choice::In(const Frame& frame) {
  Places& of = known.at(indexOf(frame.message.stream));
  if (of.layout == frame.layout) return of.places;
  of = {frame.layout, {}};
  const auto& entries = frame.message.entries;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (patterns.Match(entries[i].key)) of.places.push_back(i);
  }
  return of.places;
}

}  // namespace corvalux::gateway
