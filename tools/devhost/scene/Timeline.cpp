#include "devhost/scene/Timeline.h"

namespace scene {

namespace {

constexpr double stepSeconds = 0.01;

}  // namespace

Timeline::Timeline(const MixerSettings& settings)
    : desk(settings.channels, settings.seed), stage(settings.channels, settings.seed), changesHz(settings.changesHz) {}

void Timeline::RunTo(double seconds) {
  // The first step is due at once, so that the first list has values.
  for (; static_cast<double>(steps) * stepSeconds <= seconds; ++steps) {
    for (; changesHz > 0 && static_cast<double>(actions) <= static_cast<double>(steps) * stepSeconds * changesHz;
         ++actions)
      desk.Act();
    stage.Step(desk, stepSeconds);
  }
}

}  // namespace scene
