#pragma once

#include <memory>
#include <vector>

#include "devhost/Misbehaviour.h"
#include "devhost/scene/Mixer.h"
#include "sim/Engine.h"
#include "sim/Ticker.h"

namespace corvalux::devhost {

/// Feeds an engine with a scene for its lifetime: each kind of list at its own pace, on a thread of its own. The
/// `misbehaviours` add their entries to every list.
/// Ownership: `engine` must outlive it.
class Player {
 public:
  Player(sim::Engine& engine, const scene::MixerSettings& settings, std::vector<Misbehaviour> misbehaviours);

 private:
  std::unique_ptr<sim::Ticker> StartTicker(double hz, sim::Event event, sim::KeyValues (scene::Mixer::*next)());

  sim::Engine& engine;
  const std::vector<Misbehaviour> misbehaviours;
  scene::Mixer mixer;
  // After the mixer, so that the threads are destroyed first.
  std::unique_ptr<sim::Ticker> fast;
  std::unique_ptr<sim::Ticker> slow;
  std::unique_ptr<sim::Ticker> changes;
};

}  // namespace corvalux::devhost
