#pragma once

#include <chrono>
#include <optional>

#include "gateway/fleet/Origins.h"

namespace corvalux::gateway {

/// What an election is decided by.
struct Situation {
  bool connected = false;                 ///< to the device
  std::optional<Origins::Time> listens;   ///< to the fleet, without a break, since then; nothing: it does not
  std::optional<Origins::Time> released;  ///< another one has said that it no longer speaks
  std::optional<Origin> first;            ///< of the others who speak, who goes on in a conflict
};

/// Whether this gateway speaks for a device that it was given.
/// Threads: one at a time.
class Election {
 public:
  using Time = Origins::Time;
  using Milliseconds = Origins::Milliseconds;

  static constexpr Milliseconds silence{1'200};  ///< of all others, after which it claims
  static constexpr Milliseconds mostJitter{300};
  /// After a release: others have what the former got from the device, this one must have it too.
  static constexpr Milliseconds settling{100};

  Election(Origin self, Milliseconds jitter) : self(std::move(self)), patience(silence + jitter) {}

  /// Decides for now. `first` must be of those who spoke within Patience().
  void Decide(const Situation& situation, Time now);

  bool Speaks() const { return claimed.has_value(); }
  Milliseconds Patience() const { return patience; }

 private:
  bool MayGoOn(const Situation& situation) const;
  bool MayClaim(const Situation& situation, Time now) const;

  const Origin self;
  const Milliseconds patience;
  std::optional<Time> claimed;
};

}  // namespace corvalux::gateway
