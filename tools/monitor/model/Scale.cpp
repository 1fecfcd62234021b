#include "monitor/model/Scale.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace corvalux::monitor {

namespace {

/// From `db` on, `percent` and `slope` per dB (IEC 60268-18).
struct Segment {
  double db;
  double percent;
  double slope;
};

constexpr std::array<Segment, 6> segments = {
    {{-20, 50, 2.5}, {-30, 30, 2}, {-40, 15, 1.5}, {-50, 7.5, 0.75}, {-60, 2.5, 0.5}, {-70, 0, 0.25}}};

}  // namespace

double deflection(double db) {
  if (db >= 0) return 1;
  for (const Segment& segment : segments) {
    if (db >= segment.db) return (segment.percent + (db - segment.db) * segment.slope) / 100;
  }
  return 0;
}

double bandDeflection(double db) {
  constexpr double lowest = -80;
  return std::isnan(db) ? 0 : std::clamp((db - lowest) / -lowest, 0.0, 1.0);
}

}  // namespace corvalux::monitor
