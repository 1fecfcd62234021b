#include "devhost/scene/Desk.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <utility>

#include "devhost/scene/Signal.h"

namespace scene {

namespace {

constexpr uint32_t deskPurpose = 2;
constexpr std::array<const char*, 6> suffixes = {"", " 2", " (spare)", " – côté cour", " ★", " dry"};
constexpr std::array<uint32_t, 6> colours = {0xE63946, 0xF4A261, 0xE9C46A, 0x2A9D8F, 0x457B9D, 0x9B5DE5};

template <typename T>
void change(T& parameter, T value, std::string key, sim::KeyValues& changes) {
  if (parameter == value) return;
  parameter = std::move(value);
  changes.push_back({std::move(key), parameter});
}

/// A fader's new position: near the old one, in steps of half a dB.
float ride(float gain, Random& random) {
  const double moved = gain + random.Between(-4, 4) - 0.15 * gain;
  return static_cast<float>(std::clamp(std::round(moved * 2) / 2, -30.0, 10.0));
}

std::vector<int32_t> panned(Random& random) {
  const auto right = static_cast<int32_t>(random.Between(-60, 30));
  return {-30 - right, right};
}

}  // namespace

bool Strip::Feeds(uint32_t bus) const { return std::find(routing.begin(), routing.end(), bus) != routing.end(); }

Desk::Desk(std::size_t channels, uint64_t seed) : random(seed, deskPurpose), strips(channels), busGains(busCount) {
  for (std::size_t i = 0; i < channels; ++i) {
    Strip& strip = strips[i];
    strip.gain = ride(0, random);
    strip.name = characterOf(i).name;
    strip.routing = {1, static_cast<uint32_t>(2 + i % (busCount - 1))};
    strip.eq.resize(bandCount);
    strip.colour = colours[i % colours.size()];
  }
}

Desk::Action Desk::Draw() {
  // Drawn without replacement: by the time the bag is empty, every kind of action has occurred.
  if (bag.empty()) {
    using enum Action;
    bag = {ride,   ride,  ride, ride, ride,  ride,     ride,     balance,   mute,  mute,
           rename, route, pan,  pan,  delay, equalise, equalise, muteGroup, colour};
  }
  const auto drawn = bag.begin() + static_cast<std::ptrdiff_t>(random.Index(bag.size()));
  std::swap(*drawn, bag.back());
  const Action action = bag.back();
  bag.pop_back();
  return action;
}

sim::KeyValues Desk::Act() {
  sim::KeyValues changes;
  while (changes.empty()) Do(Draw(), changes);
  return changes;
}

void Desk::Do(Action action, sim::KeyValues& changes) {
  const std::size_t index = random.Index(strips.size());
  const std::string prefix = "input/" + std::to_string(index + 1) + "/";
  Strip& strip = strips[index];
  switch (action) {
    case Action::ride: return change(strip.gain, scene::ride(strip.gain, random), prefix + "gain", changes);
    case Action::balance: {
      const std::size_t bus = random.Index(busCount);
      float& gain = busGains[bus];
      return change(gain, scene::ride(gain, random), "bus/" + std::to_string(bus + 1) + "/gain", changes);
    }
    case Action::mute: return Mute(index, changes);
    case Action::muteGroup: return MuteGroup(changes);
    case Action::rename: {
      const std::string name = std::string(characterOf(index).name) + suffixes[random.Index(suffixes.size())];
      return change(strip.name, name, prefix + "name", changes);
    }
    case Action::route: return Route(strip, prefix, changes);
    case Action::pan: return change(strip.pan, panned(random), prefix + "pan", changes);
    case Action::delay:
      return change(strip.delay, static_cast<double>(random.Index(400)) / 8, prefix + "delay", changes);
    case Action::equalise: {
      auto eq = strip.eq;
      eq[random.Index(eq.size())] = static_cast<float>(std::round(random.Between(-6, 6) * 2) / 2);
      return change(strip.eq, std::move(eq), prefix + "eq", changes);
    }
    case Action::colour: return change(strip.colour, colours[random.Index(colours.size())], prefix + "colour", changes);
  }
}

void Desk::Mute(std::size_t index, sim::KeyValues& changes) {
  // Muted inputs come back: most of the desk should be audible.
  const auto muted = std::find_if(strips.begin(), strips.end(), [](const Strip& strip) { return strip.mute == 1; });
  if (muted != strips.end()) index = static_cast<std::size_t>(muted - strips.begin());
  change(strips[index].mute, 1 - strips[index].mute, "input/" + std::to_string(index + 1) + "/mute", changes);
}

void Desk::MuteGroup(sim::KeyValues& changes) {
  const auto group = static_cast<uint32_t>(2 + random.Index(busCount - 1));
  const bool release = std::any_of(strips.begin(), strips.end(), [](const Strip& strip) { return strip.mute == 1; });
  for (std::size_t i = 0; i < strips.size(); ++i) {
    const int32_t mute = !release && strips[i].Feeds(group) ? 1 : 0;
    change(strips[i].mute, mute, "input/" + std::to_string(i + 1) + "/mute", changes);
  }
}

void Desk::Route(Strip& strip, const std::string& prefix, sim::KeyValues& changes) {
  const auto bus = static_cast<uint32_t>(1 + random.Index(busCount));
  std::vector<uint32_t> routing = strip.routing;
  const auto place = std::lower_bound(routing.begin(), routing.end(), bus);
  if (place != routing.end() && *place == bus) {
    routing.erase(place);
  } else {
    routing.insert(place, bus);
  }
  change(strip.routing, std::move(routing), prefix + "routing", changes);
}

}  // namespace scene
