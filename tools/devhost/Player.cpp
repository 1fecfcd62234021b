#include "devhost/Player.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace corvalux::devhost {

namespace {

/// Years, and still within a clock's range.
constexpr std::chrono::duration<double> longestPeriod{1e8};

}  // namespace

Player::Player(sim::Engine& engine, const scene::MixerSettings& settings, std::vector<Misbehaviour> misbehaviours)
    : engine(engine),
      misbehaviours(std::move(misbehaviours)),
      mixer(settings),
      fast(StartTicker(settings.fastHz, sim::Event::meterFast, &scene::Mixer::NextFast)),
      slow(StartTicker(settings.slowHz, sim::Event::meterSlow, &scene::Mixer::NextSlow)),
      changes(StartTicker(settings.changesHz, sim::Event::changes, &scene::Mixer::NextChanges)) {}

std::unique_ptr<sim::Ticker> Player::StartTicker(double hz, sim::Event event, sim::KeyValues (scene::Mixer::*next)()) {
  if (hz <= 0) return nullptr;
  const auto period = std::chrono::duration_cast<std::chrono::nanoseconds>(
      std::min(std::chrono::duration<double>(1 / hz), longestPeriod));
  return std::make_unique<sim::Ticker>(period, [this, event, next, count = 0U]() mutable {
    sim::KeyValues list = (mixer.*next)();
    ++count;
    for (const Misbehaviour behaviour : misbehaviours) misbehave(behaviour, count, list);
    engine.Emit(event, list);
  });
}

}  // namespace corvalux::devhost
