#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "devhost/scene/Ballistics.h"
#include "devhost/scene/Desk.h"
#include "devhost/scene/Random.h"
#include "devhost/scene/Signal.h"

namespace scene {

/// One input: its source and the meters on it, behind its fader and mute.
struct Input {
  Input(uint64_t seed, std::size_t index);

  void Step(const Strip& strip, double seconds);
  /// The level in one octave band, dBFS.
  double Band(std::size_t band) const;

  Signal signal;
  PeakMeter peak;
  RmsMeter rms;
  double peakPower = 0;  ///< in the last step
  double meanPower = 0;
  int32_t clips = 0;  ///< how often it went over 0 dBFS since the start
  bool clipping = false;
  bool gateOpen = false;  ///< of its noise gate, which sits before the fader
};

/// One bus: the sum of the inputs that feed it.
struct Bus {
  void Step(double peakPower, double meanPower, double seconds);

  PeakMeter peak;
  RmsMeter rms;
  RmsMeter shortTerm{3.0};
};

/// What a mixer's meters measure over time, with a desk's parameters. Costs about 0.1 µs per input and step.
class Stage {
 public:
  Stage(std::size_t channels, uint64_t seed);

  void Step(const Desk& desk, double seconds);

  const std::vector<Input>& Inputs() const { return inputs; }
  const std::vector<Bus>& Buses() const { return buses; }
  /// Loudness of bus 1 over the last seconds, LUFS.
  double Loudness() const;

 private:
  std::vector<Input> inputs;
  std::vector<Bus> buses;
};

}  // namespace scene
