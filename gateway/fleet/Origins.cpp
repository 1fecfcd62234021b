#include "gateway/fleet/Origins.h"

#include <algorithm>

namespace corvalux::gateway {

Origins::Answer Origins::Hear(const Origin& origin, Time now) {
  if (!Note(origin, now)) return Answer::ignored;
  if (followed == origin) {
    heard = now;
    return Answer::followed;
  }
  if (now < settled || (followed && !Silent(now, patience))) return Answer::ignored;
  newerThan = heard.value_or(Time());
  followed = origin;
  heard = now;
  return Answer::changed;
}

/// Somebody who makes up origins must not take memory, nor keep those away who speak.
bool Origins::Note(const Origin& origin, Time now) {
  const auto known = speakers.find(origin);
  if (known == speakers.end() && speakers.size() >= most) {
    std::erase_if(speakers, [now](const auto& each) { return now - each.second > patience; });
    if (speakers.size() >= most) return false;
  }
  speakers.insert_or_assign(origin, now);
  heardAny = now;
  return true;
}

void Origins::Release(const Origin& origin, Time now) {
  if (speakers.erase(origin) > 0) released = now;
  if (followed != origin) return;
  followed.reset();
  settled = now + settling;
}

std::optional<Origin> Origins::First(Time now, Milliseconds time) const {
  for (const auto& [origin, spoke] : speakers) {
    if (now - spoke <= time) return origin;
  }
  return std::nullopt;
}

}  // namespace corvalux::gateway
