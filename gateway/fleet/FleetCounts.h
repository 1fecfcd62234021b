#pragma once

#include <cstdint>

namespace corvalux::gateway {

/// What went out, and what did not.
struct PublishedCounts {
  uint64_t messages = 0;
  uint64_t bytes = 0;
  uint64_t overtaken = 0;     ///< by newer ones, before they went out
  uint64_t disconnected = 0;  ///< dropped without a connection, or refused by it
  uint64_t old = 0;           ///< dropped for their time in a slot
  uint64_t tooLarge = 0;      ///< beyond what the server takes
};

/// What came.
struct ReceivedCounts {
  uint64_t messages = 0;
  uint64_t bad = 0;       ///< not what the fleet writes
  uint64_t late = 0;      ///< dropped for their time on the way
  uint64_t repeated = 0;  ///< no newer than the one before
  uint64_t tooMany = 0;   ///< of devices beyond the limit
  uint64_t switches = 0;  ///< to another origin
};

/// For monitoring.
struct FleetCounts {
  bool connected = false;
  uint64_t speaking = 0;  ///< devices that this gateway speaks for
  uint64_t remote = 0;    ///< devices that it has from others alone
  uint64_t overrun = 0;   ///< messages that came faster than they were taken
  uint64_t pictures = 0;  ///< that were asked for and answered
  PublishedCounts published;
  ReceivedCounts received;
};

}  // namespace corvalux::gateway
