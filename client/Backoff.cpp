#include "client/Backoff.h"

#include <algorithm>

namespace corvalux::client {

Backoff::Milliseconds Backoff::Next() {
  const double jitter = std::uniform_real_distribution(0.75, 1.25)(random);
  const auto next = Milliseconds(static_cast<Milliseconds::rep>(static_cast<double>(delay.count()) * jitter));
  delay = std::min(delay * 2, limit);
  return next;
}

}  // namespace corvalux::client
