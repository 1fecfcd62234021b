#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>

#include "gateway/fleet/FleetClock.h"
#include "gateway/fleet/Headers.h"

namespace corvalux::gateway {

/// The other origins that speak for a device, and the one that is followed: it stays the same until it releases the
/// device or is silent.
/// Threads: one at a time.
class Origins {
 public:
  using Time = FleetClock::time_point;
  using Milliseconds = std::chrono::milliseconds;

  static constexpr Milliseconds patience{1'500};
  /// After a release what the next one got from the device may be a little older than what was shown.
  static constexpr Milliseconds settling{150};
  static constexpr std::size_t most = 16;  ///< that are known at a time

  enum class Answer {
    ignored,   ///< another one is followed
    followed,  ///< it counts
    changed    ///< it counts, and is the first of this origin
  };

  /// One speaks now.
  Answer Hear(const Origin& origin, Time now);
  /// One says that it does not.
  void Release(const Origin& origin, Time now);

  /// Nothing before the first, and after a release.
  const std::optional<Origin>& Followed() const { return followed; }
  /// The one before was heard last then: what the followed one learned later is newer than all that came from that.
  Time NewerThan() const { return newerThan; }
  /// Since when nobody who is followed has spoken.
  bool Silent(Time now, Milliseconds time) const { return !heard || now - *heard > time; }
  /// Any of them, last.
  std::optional<Time> Heard() const { return heardAny; }
  /// One that spoke has said that it no longer does.
  std::optional<Time> Released() const { return released; }
  /// Of those that spoke within this time, the one that goes on in a conflict.
  std::optional<Origin> First(Time now, Milliseconds time) const;

 private:
  bool Note(const Origin& origin, Time now);

  std::map<Origin, Time> speakers;  ///< when they spoke last
  std::optional<Origin> followed;
  std::optional<Time> heard;  ///< the one that is or was followed
  std::optional<Time> heardAny;
  std::optional<Time> released;
  Time newerThan;
  Time settled;
};

}  // namespace corvalux::gateway
