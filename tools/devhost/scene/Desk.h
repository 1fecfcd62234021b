#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "devhost/scene/Random.h"
#include "sim/KeyValues.h"

namespace scene {

constexpr std::size_t busCount = 4;

/// The parameters of one input.
struct Strip {
  float gain = 0;                     ///< dB
  int32_t mute = 0;                   ///< 1: muted
  std::string name;                   ///< UTF-8
  std::vector<uint32_t> routing;      ///< the buses it feeds, counted from 1, rising
  std::vector<int32_t> pan = {0, 0};  ///< left and right, tenths of a dB
  double delay = 0;                   ///< ms
  std::vector<float> eq;              ///< gain per octave band, dB
  uint32_t colour = 0;                ///< 0xRRGGBB

  bool Feeds(uint32_t bus) const;
};

/// A mixer's parameters, and the person who changes them.
class Desk {
 public:
  Desk(std::size_t channels, uint64_t seed);

  /// Does what a person at the desk might do next. Returns the changes: at least one parameter, each at most once, each
  /// with a new value.
  sim::KeyValues Act();

  const std::vector<Strip>& Strips() const { return strips; }
  float BusGain(std::size_t bus) const { return busGains[bus]; }

 private:
  enum class Action { ride, balance, mute, muteGroup, rename, route, pan, delay, equalise, colour };

  Action Draw();
  void Do(Action action, sim::KeyValues& changes);
  void Mute(std::size_t index, sim::KeyValues& changes);
  void MuteGroup(sim::KeyValues& changes);
  void Route(Strip& strip, const std::string& prefix, sim::KeyValues& changes);

  Random random;
  std::vector<Strip> strips;
  std::vector<float> busGains;
  std::vector<Action> bag;
};

}  // namespace scene
