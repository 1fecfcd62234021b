#include "gateway/fleet/OriginClock.h"

#include <algorithm>
#include <utility>

namespace corvalux::gateway {

OriginClock::Seconds OriginClock::Lateness(double clock, Time now) {
  const double difference = Seconds(now.time_since_epoch()).count() - clock;
  if (now - begun > window) {
    if (now - begun > 2 * window) least = none;
    former = std::exchange(least, none);
    begun = now;
  }
  heard = now;
  least = std::min(least, difference);
  return Seconds(difference - std::min(least, former));
}

}  // namespace corvalux::gateway
