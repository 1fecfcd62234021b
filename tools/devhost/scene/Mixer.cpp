#include "devhost/scene/Mixer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace scene {

namespace {

constexpr uint32_t mixerPurpose = 3;
constexpr double sampleRate = 48000;
constexpr uint32_t blockFrames = 64;

std::string numbered(const char* what, std::size_t index) {
  return std::string(what) + "/" + std::to_string(index + 1) + "/";
}

/// A meter shows hundredths of a dB.
float shown(double db) { return static_cast<float>(std::round(db * 100) / 100); }

std::string timecode(double seconds) {
  const auto frames = static_cast<int64_t>(seconds * 25);
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d:%02d", static_cast<int>(frames / 90000 % 24),
                static_cast<int>(frames / 1500 % 60), static_cast<int>(frames / 25 % 60),
                static_cast<int>(frames % 25));
  return text;
}

void addClock(sim::KeyValues& list, double seconds) {
  list.push_back({"engine/time", seconds});
  list.push_back({"engine/timecode", timecode(seconds)});
  const auto frames = static_cast<uint64_t>(seconds * sampleRate);
  list.push_back({"engine/clock", std::vector<uint32_t>{static_cast<uint32_t>(frames / blockFrames),
                                                        static_cast<uint32_t>(frames % blockFrames)}});
}

void addInput(sim::KeyValues& list, const Input& input, std::size_t index) {
  const std::string prefix = numbered("input", index);
  std::vector<float> spectrum;
  for (std::size_t band = 0; band < bandCount; ++band) spectrum.push_back(shown(input.Band(band)));
  list.push_back({prefix + "peak", shown(input.peak.Level())});
  list.push_back({prefix + "rms", shown(input.rms.Level())});
  list.push_back({prefix + "spectrum", std::move(spectrum)});
  list.push_back({prefix + "clips", input.clips});
  list.push_back({prefix + "gate", input.gateOpen ? 1U : 0U});
}

void addBuses(sim::KeyValues& list, const Stage& stage) {
  std::vector<int32_t> headroom;
  for (std::size_t i = 0; i < stage.Buses().size(); ++i) {
    const Bus& bus = stage.Buses()[i];
    list.push_back({numbered("bus", i) + "peak", shown(bus.peak.Level())});
    list.push_back({numbered("bus", i) + "rms", shown(bus.rms.Level())});
    headroom.push_back(static_cast<int32_t>(std::lround(-10 * bus.peak.Level())));
  }
  list.push_back({"mix/headroom", std::move(headroom)});  // tenths of a dB, per bus
}

void addHardware(sim::KeyValues& list, double load, Random& random) {
  const auto near = [&random](double value, double deviation) { return value + deviation * random.Normal(); };
  list.push_back({"engine/load", shown(load)});  // percent
  list.push_back({"engine/temperatures", std::vector<float>{shown(near(41 + load / 10, 0.3)), shown(near(38, 0.2)),
                                                            shown(near(33, 0.1))}});  // degrees Celsius
  list.push_back({"engine/fans", std::vector<uint32_t>{static_cast<uint32_t>(near(1800 + 6 * load, 15)),
                                                       static_cast<uint32_t>(near(1750 + 6 * load, 15))}});  // rpm
  list.push_back({"engine/clock-drift", static_cast<int32_t>(near(1200, 40))});                              // ppb
  list.push_back({"engine/supply", std::vector<int32_t>{static_cast<int32_t>(near(12050, 12)),
                                                        static_cast<int32_t>(near(5020, 6))}});  // mV
}

}  // namespace

Mixer::Mixer(const MixerSettings& settings)
    : settings(settings),
      fast(settings),
      slow(settings),
      desk(settings.channels, settings.seed),
      hardware(settings.seed, mixerPurpose) {}

sim::KeyValues Mixer::NextFast() {
  const double now = fastCount / settings.fastHz;
  fast.RunTo(now);
  sim::KeyValues list{{"counter", ++fastCount}};
  addClock(list, now);
  for (std::size_t i = 0; i < settings.channels; ++i) addInput(list, fast.stage.Inputs()[i], i);
  addBuses(list, fast.stage);
  return list;
}

sim::KeyValues Mixer::NextSlow() {
  const double now = slowCount / settings.slowHz;
  slow.RunTo(now);
  const double load = 12 + 0.4 * static_cast<double>(settings.channels) + 3 * hardware.Uniform();
  if (hardware.Uniform() < 0.01) ++xruns;
  sim::KeyValues list{{"counter", ++slowCount}};
  list.push_back({"engine/name", std::string("corvalux demo engine")});
  list.push_back({"engine/uptime", now});
  list.push_back({"engine/xruns", xruns});
  addHardware(list, std::min(load, 100.0), hardware);
  list.push_back({"mix/loudness", slow.stage.Loudness()});
  for (std::size_t i = 0; i < settings.channels; ++i) {
    list.push_back({numbered("input", i) + "name", slow.desk.Strips()[i].name});
    list.push_back({numbered("input", i) + "mean", shown(slow.stage.Inputs()[i].rms.Level())});
  }
  return list;
}

sim::KeyValues Mixer::NextChanges() {
  sim::KeyValues list{{"counter", ++changesCount}};
  for (sim::NamedValue& changed : desk.Act()) list.push_back(std::move(changed));
  return list;
}

}  // namespace scene
