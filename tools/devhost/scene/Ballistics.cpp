#include "devhost/scene/Ballistics.h"

#include <algorithm>
#include <cmath>

namespace scene {

namespace {

constexpr double peakFallPerSecond = 20 / 1.7;

}  // namespace

double powerOf(double db) { return db <= floorDb ? 0 : std::pow(10, db / 10); }

double levelOf(double power) { return power <= 0 ? floorDb : std::max(floorDb, 10 * std::log10(power)); }

void PeakMeter::Update(double db, double seconds) {
  level = std::max({db, level - peakFallPerSecond * seconds, floorDb});
}

void RmsMeter::Update(double db, double seconds) {
  power += (powerOf(db) - power) * (1 - std::exp(-seconds / integration));
}

}  // namespace scene
