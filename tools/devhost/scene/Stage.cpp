#include "devhost/scene/Stage.h"

#include <algorithm>

namespace scene {

namespace {

constexpr double gateOpensDb = -50;
constexpr double gateShutsDb = -58;
constexpr double loudnessOffset = -0.691;

}  // namespace

Input::Input(uint64_t seed, std::size_t index) : signal(characterOf(index), seed, static_cast<uint32_t>(index)) {}

void Input::Step(const Strip& strip, double seconds) {
  signal.Step(seconds);
  const bool heard = strip.mute == 0;
  const double level = heard ? signal.Peak() + strip.gain : floorDb;
  const double mean = heard ? signal.Rms() + strip.gain : floorDb;
  if (level > 0 && !clipping) ++clips;
  clipping = level > 0;
  peak.Update(std::min(level, 0.0), seconds);
  rms.Update(mean, seconds);
  peakPower = powerOf(std::min(level, 0.0));
  meanPower = powerOf(mean);
  gateOpen = signal.Peak() > (gateOpen ? gateShutsDb : gateOpensDb);
}

double Input::Band(std::size_t band) const { return std::clamp(rms.Level() + signal.BandOffset(band), floorDb, 0.0); }

void Bus::Step(double peakPower, double meanPower, double seconds) {
  peak.Update(std::min(levelOf(peakPower), 0.0), seconds);
  rms.Update(levelOf(meanPower), seconds);
  shortTerm.Update(levelOf(meanPower), seconds);
}

Stage::Stage(std::size_t channels, uint64_t seed) : buses(busCount) {
  inputs.reserve(channels);
  for (std::size_t i = 0; i < channels; ++i) inputs.emplace_back(seed, i);
}

void Stage::Step(const Desk& desk, double seconds) {
  std::vector<double> peakPowers(buses.size());
  std::vector<double> meanPowers(buses.size());
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    inputs[i].Step(desk.Strips()[i], seconds);
    for (const uint32_t bus : desk.Strips()[i].routing) {
      peakPowers[bus - 1] += inputs[i].peakPower;
      meanPowers[bus - 1] += inputs[i].meanPower;
    }
  }
  for (std::size_t bus = 0; bus < buses.size(); ++bus) {
    const double gain = powerOf(desk.BusGain(bus));
    buses[bus].Step(peakPowers[bus] * gain, meanPowers[bus] * gain, seconds);
  }
}

double Stage::Loudness() const { return std::max(floorDb, buses.front().shortTerm.Level() + loudnessOffset); }

}  // namespace scene
