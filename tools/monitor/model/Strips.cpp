#include "monitor/model/Strips.h"

#include <algorithm>
#include <cmath>

#include "client/Key.h"
#include "monitor/model/Scale.h"

namespace corvalux::monitor {

namespace {

double clipped(double level) { return std::isnan(level) ? floorDb : std::max(level, floorDb); }

bool isLevel(const client::Value& value) {
  return std::holds_alternative<float>(value) || std::holds_alternative<double>(value);
}

/// Stores the value in its field; a repeated key goes to the others.
void place(Strip& strip, std::string_view name, const client::Value& value) {
  if (isLevel(value) && (name == "peak" || name == "level") && !strip.peak) {
    strip.peak = clipped(*client::numberOf(value));
  } else if (isLevel(value) && name == "rms" && !strip.rms) {
    strip.rms = clipped(*client::numberOf(value));
  } else if (const auto* list = std::get_if<std::vector<float>>(&value); list && strip.spectrum.empty()) {
    strip.spectrum = *list;
  } else {
    strip.others.push_back({std::string(name), value});
  }
}

}  // namespace

void Strips::Take(const std::vector<client::Entry>& entries, Clock::time_point now) {
  strips.clear();
  places.clear();
  for (const client::Entry& entry : entries)
    place(StripOf(client::prefixOf(entry.key)), client::lastPart(entry.key), entry.value);
  for (Strip& strip : strips) {
    if (strip.HasLevel()) strip.hold = Held(strip.prefix, strip.peak ? *strip.peak : *strip.rms, now);
  }
}

Strip& Strips::StripOf(std::string_view prefix) {
  const auto [found, isNew] = places.try_emplace(std::string(prefix), strips.size());
  if (isNew) {
    strips.emplace_back();
    strips.back().prefix = prefix;
  }
  return strips[found->second];
}

double Strips::Held(const std::string& prefix, double level, Clock::time_point now) {
  Hold& hold = holds.try_emplace(prefix, Hold{level, now, now}).first->second;
  if (now - hold.since > holdTime) {
    hold.level -=
        releasePerSecond * std::chrono::duration<double>(now - std::max(hold.updated, hold.since + holdTime)).count();
  }
  hold.updated = now;
  if (level >= hold.level) hold = {level, now, now};
  return hold.level;
}

}  // namespace corvalux::monitor
