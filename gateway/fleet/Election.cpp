#include "gateway/fleet/Election.h"

namespace corvalux::gateway {

void Election::Decide(const Situation& situation, Time now) {
  if (!situation.connected || !situation.listens) {
    claimed.reset();
  } else if (claimed) {
    if (!MayGoOn(situation)) claimed.reset();
  } else if (MayClaim(situation, now)) {
    claimed = now;
  }
}

/// One that was away must not go on as if it had not been.
bool Election::MayGoOn(const Situation& situation) const {
  return *claimed >= *situation.listens && (!situation.first || self < *situation.first);
}

bool Election::MayClaim(const Situation& situation, Time now) const {
  if (situation.first) return false;
  if (now - *situation.listens >= patience) return !situation.released || now - *situation.released >= settling;
  return situation.released && *situation.released >= *situation.listens && now - *situation.released >= settling;
}

}  // namespace corvalux::gateway
