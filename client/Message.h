#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "client/Stream.h"
#include "client/Value.h"

namespace corvalux::client {

/// When something arrived: by the wall clock for display, by the steady clock for measuring.
struct Arrival {
  std::chrono::system_clock::time_point wall;
  std::chrono::steady_clock::time_point steady;
};

/// A message of a stream, as received and as values.
struct Message {
  Stream stream = Stream::fast;
  Arrival arrival;
  std::string bytes;           ///< as received
  bool valid = true;           ///< false: the bytes are damaged; then there are no entries
  std::vector<Entry> entries;  ///< in the engine's order
  uint32_t repairedTexts = 0;  ///< keys and texts among the entries that were not UTF-8; repaired, see Utf8.h
};

}  // namespace corvalux::client
