#include "gateway/devices/LevelWindow.h"

#include <algorithm>
#include <cmath>

namespace corvalux::gateway {

namespace {

/// A level that came as a float, as the device wrote it.
double shortened(double level) {
  const auto narrow = static_cast<float>(level);
  return static_cast<double>(narrow) == level ? client::withoutTail(narrow) : level;
}

}  // namespace

void LevelWindow::Take(const Frame& frame) {
  if (choice.Keys().All().empty()) return;
  const auto now = frame.message.arrival.steady;
  const auto second = std::chrono::floor<std::chrono::seconds>(now);
  if (levels.size() >= keysLimit && second != swept) Forget(now);
  for (const std::size_t place : choice.In(frame)) {
    const client::Entry& entry = frame.message.entries[place];
    const auto number = client::numberOf(entry.value);
    if (!number || std::isnan(*number)) continue;
    if (levels.size() >= keysLimit && !levels.contains(entry.key)) continue;
    auto& steps = levels[entry.key];
    if (steps.empty() || steps.back().second != second) steps.push_back({second, {*number, *number}});
    auto& range = steps.back().range;
    range = {std::min(range.least, *number), std::max(range.greatest, *number)};
    while (now - steps.front().second > span) steps.pop_front();
  }
}

/// Drops the keys that had no level within the window: others may take their places.
void LevelWindow::Forget(Clock::time_point now) {
  swept = std::chrono::floor<std::chrono::seconds>(now);
  std::erase_if(levels, [&](const auto& each) { return now - each.second.back().second > span; });
}

std::map<std::string, LevelWindow::Range> LevelWindow::Ranges(Clock::time_point now) const {
  std::map<std::string, Range> ranges;
  for (const auto& [key, steps] : levels) {
    for (const Step& step : steps) {
      if (now - step.second > span) continue;
      auto& range = ranges.try_emplace(key, step.range).first->second;
      range = {std::min(range.least, step.range.least), std::max(range.greatest, step.range.greatest)};
    }
  }
  for (auto& [key, range] : ranges) range = {shortened(range.least), shortened(range.greatest)};
  return ranges;
}

}  // namespace corvalux::gateway
