#pragma once

#include <chrono>
#include <cstdint>
#include <random>

namespace corvalux::client {

/// How long to wait before trying again: twice as long after each failure, up to a limit, with a quarter of jitter so
/// that clients which lost a device at the same moment do not all come back at the same moment.
class Backoff {
 public:
  using Milliseconds = std::chrono::milliseconds;

  static constexpr Milliseconds first{500};
  static constexpr Milliseconds limit{8000};

  explicit Backoff(uint64_t seed) : random(seed) {}

  /// Within a quarter of the doubled delay.
  Milliseconds Next();
  /// After a success: start over.
  void Reset() { delay = first; }

 private:
  std::mt19937_64 random;
  Milliseconds delay = first;
};

}  // namespace corvalux::client
