#pragma once

#include <cstdint>

#include "devhost/scene/Timeline.h"
#include "sim/KeyValues.h"

namespace scene {

/// A mixing desk in use, as its engine reports it: meters on two cadences, and the parameters that somebody changes.
/// Inputs and buses count from 1; levels are dBFS, never below -120. Every list begins with "counter", which rises by
/// one from list to list of its kind, starting at 1, so that a client sees what it missed.
///
/// Deterministic: the nth list of a kind depends on the settings and on n alone, because each kind has its own
///   simulation of the same course. So the lists agree with each other: a fader that moves shows in the levels.
/// Threads: the three functions may run concurrently, but none with itself.
class Mixer {
 public:
  explicit Mixer(const MixerSettings& settings);

  /// Levels, spectra, clips and gates of inputs; levels of buses; the engine's clock. Same keys and kinds every time.
  sim::KeyValues NextFast();

  /// Loudness, names and mean levels, and how the engine's hardware is. Same keys and kinds every time.
  sim::KeyValues NextSlow();

  /// The parameters that changed, at least one, each with a value that it did not have before.
  sim::KeyValues NextChanges();

 private:
  MixerSettings settings;
  Timeline fast;
  Timeline slow;
  Desk desk;
  Random hardware;
  uint32_t fastCount = 0;
  uint32_t slowCount = 0;
  uint32_t changesCount = 0;
  uint32_t xruns = 0;
};

}  // namespace scene
