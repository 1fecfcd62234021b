#include "devhost/scene/Ballistics.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using scene::floorDb;
using scene::PeakMeter;
using scene::RmsMeter;

constexpr double step = 0.01;

template <typename Meter>
void feed(Meter& meter, double db, double seconds) {
  for (int i = 0; i < std::lround(seconds / step); ++i) meter.Update(db, step);
}

TEST(PeakMeter, RisesAtOnce) {
  PeakMeter meter;
  meter.Update(-3, step);
  EXPECT_EQ(meter.Level(), -3);
}

TEST(PeakMeter, FallsBy20DbIn1700Milliseconds) {
  PeakMeter meter;
  meter.Update(0, step);
  feed(meter, floorDb, 0.85);
  EXPECT_NEAR(meter.Level(), -10, 1e-6);
  feed(meter, floorDb, 0.85);
  EXPECT_NEAR(meter.Level(), -20, 1e-6);
}

TEST(PeakMeter, DoesNotFallBelowTheSignalOrTheFloor) {
  PeakMeter meter;
  meter.Update(0, step);
  feed(meter, -30, 60);
  EXPECT_EQ(meter.Level(), -30);
  feed(meter, -500, 60);
  EXPECT_EQ(meter.Level(), floorDb);
}

TEST(RmsMeter, HasTwoThirdsOfThePowerAfterItsIntegrationTime) {
  RmsMeter meter;
  feed(meter, 0, 0.3);
  EXPECT_NEAR(meter.Level(), 10 * std::log10(1 - std::exp(-1)), 1e-6);
}

TEST(RmsMeter, SettlesOnASteadyLevel) {
  RmsMeter meter;
  feed(meter, -18, 10);
  EXPECT_NEAR(meter.Level(), -18, 1e-6);
}

TEST(RmsMeter, ShowsTheFloorInSilence) {
  RmsMeter meter;
  EXPECT_EQ(meter.Level(), floorDb);
  feed(meter, -18, 1);
  feed(meter, floorDb, 60);
  EXPECT_EQ(meter.Level(), floorDb);
}

TEST(RmsMeter, DoesNotDependOnHowOftenItIsUpdated) {
  RmsMeter often, seldom;
  feed(often, -6, 0.5);
  seldom.Update(-6, 0.5);
  EXPECT_NEAR(often.Level(), seldom.Level(), 1e-9);
}

}  // namespace
