#pragma once

#include <cstdint>

#include "devhost/scene/Desk.h"
#include "devhost/scene/Stage.h"

namespace scene {

struct MixerSettings {
  std::size_t channels = 8;  ///< at least 1
  uint64_t seed = 1;
  /// Lists per second. They fix the simulated time between two lists, however fast the lists are requested. 0: never
  /// request one.
  double fastHz = 25;
  double slowHz = 2;
  double changesHz = 2;
};

/// A simulated mixer that runs in steps of 10 ms: the same settings give the same course.
class Timeline {
 public:
  explicit Timeline(const MixerSettings& settings);

  /// Runs to `seconds` after the start.
  void RunTo(double seconds);

  Desk desk;
  Stage stage;

 private:
  double changesHz;
  int64_t steps = 0;
  int64_t actions = 0;
};

}  // namespace scene
