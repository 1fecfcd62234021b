#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

namespace scene {

/// Random numbers that are the same for the same seed on every machine: the standard defines the output of its engine
/// and of its seeding, but not of its distributions. `purpose` and `index` give each user its own sequence.
class Random {
 public:
  Random(uint64_t seed, uint32_t purpose, uint32_t index = 0) {
    std::seed_seq sequence{static_cast<uint32_t>(seed), static_cast<uint32_t>(seed >> 32), purpose, index};
    engine.seed(sequence);
  }

  /// In [0, 1).
  double Uniform() { return static_cast<double>(engine() >> 11) * 0x1p-53; }
  double Between(double low, double high) { return low + (high - low) * Uniform(); }
  /// Around 0 with a deviation of 1, never beyond 3.5.
  double Normal() { return (Uniform() + Uniform() + Uniform() + Uniform() - 2) * 1.7320508; }
  /// In [0, count).
  std::size_t Index(std::size_t count) { return static_cast<std::size_t>(Uniform() * static_cast<double>(count)); }

 private:
  std::mt19937_64 engine;
};

}  // namespace scene
