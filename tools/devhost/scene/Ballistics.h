#pragma once

namespace scene {

/// The lowest level that a meter shows, dBFS.
constexpr double floorDb = -120;

/// Between levels in dBFS and power; a power of 0 is the floor.
double powerOf(double db);
double levelOf(double power);

/// A peak programme meter: rises at once, falls by 20 dB in 1.7 s.
class PeakMeter {
 public:
  /// `db` is the highest level since the last update, `seconds` the time since then.
  void Update(double db, double seconds);
  double Level() const { return level; }

 private:
  double level = floorDb;
};

/// An exponential mean of power with a time constant.
class RmsMeter {
 public:
  explicit RmsMeter(double integrationSeconds = 0.3) : integration(integrationSeconds) {}
  /// `db` is the mean level since the last update, `seconds` the time since then.
  void Update(double db, double seconds);
  double Level() const { return levelOf(power); }

 private:
  double integration;
  double power = 0;
};

}  // namespace scene
