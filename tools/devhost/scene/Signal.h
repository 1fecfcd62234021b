#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "devhost/scene/Random.h"

namespace scene {

/// Octave bands from 31.5 Hz to 16 kHz.
constexpr std::size_t bandCount = 10;

/// The kind of source of an input; levels in dBFS, times in seconds.
struct Character {
  const char* name;
  double level;       ///< of a typical hit
  double spread;      ///< deviation of it, dB
  double hits;        ///< per second, while playing
  double fall;        ///< after a hit, dB per second
  double crest;       ///< peak over RMS, dB
  double phrase;      ///< mean time of playing
  double pause;       ///< mean time between phrases
  double centreBand;  ///< strongest band
  double width;       ///< bands until the spectrum is 6 dB down
};

/// The source of input `index`, counted from 0.
const Character& characterOf(std::size_t index);

/// The level of one source over time: hits that ring out, in phrases with pauses between them.
class Signal {
 public:
  Signal(const Character& character, uint64_t seed, uint32_t index);

  /// Advances by `seconds`, which should be short compared to the time between hits.
  void Step(double seconds);

  /// In the last step, dBFS, before any gain.
  double Peak() const { return envelope; }
  double Rms() const { return envelope - character->crest; }

  /// The level of band `band` relative to the whole, dB.
  double BandOffset(std::size_t band) const;

 private:
  const Character* character;
  Random random;
  bool playing = true;
  double untilTurn;  ///< seconds until the phrase or the pause ends
  double envelope;
  std::vector<double> wobble;  ///< per band, dB
};

}  // namespace scene
