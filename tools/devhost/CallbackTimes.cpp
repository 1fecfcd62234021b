#include "devhost/CallbackTimes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>

namespace corvalux::devhost {

namespace {

std::string milliseconds(std::chrono::nanoseconds duration) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f ms", std::chrono::duration<double, std::milli>(duration).count());
  return text;
}

/// The duration that this share of the durations does not exceed.
std::chrono::nanoseconds percentile(std::vector<std::chrono::nanoseconds>& durations, double share) {
  const auto rank = static_cast<std::ptrdiff_t>(std::lround(share * static_cast<double>(durations.size() - 1)));
  std::nth_element(durations.begin(), durations.begin() + rank, durations.end());
  return durations[static_cast<std::size_t>(rank)];
}

}  // namespace

void CallbackTimes::Figures::Add(sim::Event event, std::chrono::nanoseconds duration) {
  ++counts[static_cast<std::size_t>(event)];
  longest = std::max(longest, duration);
}

std::string CallbackTimes::Figures::Lists() const {
  return std::to_string(counts[0]) + " fast, " + std::to_string(counts[1]) + " slow and " + std::to_string(counts[2]) +
         " change lists";
}

void CallbackTimes::Add(sim::Event event, std::chrono::nanoseconds duration) {
  const std::lock_guard lock(mutex);
  all.Add(event, duration);
  if (!intervals) return;
  interval.Add(event, duration);
  durations.push_back(duration);
}

std::string CallbackTimes::Summary() const {
  const std::lock_guard lock(mutex);
  return all.Lists() + "; longest callback " + milliseconds(all.longest);
}

std::string CallbackTimes::TakeInterval() {
  const std::lock_guard lock(mutex);
  std::string line = interval.Lists();
  if (!durations.empty()) {
    line += "; callbacks p50 " + milliseconds(percentile(durations, 0.5)) + ", p99 " +
            milliseconds(percentile(durations, 0.99)) + ", max " + milliseconds(interval.longest);
  }
  interval = {};
  durations.clear();
  return line;
}

}  // namespace corvalux::devhost
