#include "support/Loads.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace bench {

namespace {

std::string longKey(std::size_t index) { return "mixer/input/" + std::to_string(index + 100) + "/level"; }
std::string shortKey(std::size_t index) { return "meter/" + std::to_string(index + 100); }

std::vector<float> floats(std::size_t count) {
  std::vector<float> values;
  for (std::size_t i = 0; i < count; ++i) values.push_back(-60.5F + static_cast<float>(i));
  return values;
}

sim::Value valueOfKind(std::size_t kind) {
  switch (kind % 8) {
    case 0: return floats(8);
    case 1: return 0.25;
    case 2: return uint32_t{48000};
    case 3: return int32_t{-12};
    case 4: return 0.5F;
    case 5: return std::string("Vocals, second microphone");
    case 6: return std::vector<uint32_t>{1, 2, 3, 4};
    default: return std::vector<int32_t>{-1, -2, -3, -4};
  }
}

sim::KeyValues entries(std::size_t count, std::string (*keyAt)(std::size_t), const auto& valueAt) {
  sim::KeyValues values;
  for (std::size_t i = 0; i < count; ++i) values.push_back({keyAt(i), valueAt(i)});
  return values;
}

}  // namespace

Load smallLoad() {
  return {"WS", entries(8, shortKey, [](std::size_t) { return -6.5F; })};
}

Load mediumLoad() {
  return {"W64", entries(64, longKey, [](std::size_t) { return floats(8); })};
}

Load largeLoad() {
  return {"WL", entries(512, shortKey, [](std::size_t) { return floats(32); })};
}

Load mixedLoad() { return {"mixed", entries(64, longKey, valueOfKind)}; }

std::vector<Load> allLoads() { return {smallLoad(), mediumLoad(), largeLoad(), mixedLoad()}; }

Load loadNamed(std::string_view name) {
  for (Load& load : allLoads()) {
    if (load.name == name) return std::move(load);
  }
  throw std::invalid_argument("there is no load " + std::string(name));
}

void setSequence(sim::KeyValues& values, unsigned sequence) {
  const auto bits = std::bit_cast<float>(sequence);
  sim::Value& first = values.front().value;
  if (auto* single = std::get_if<float>(&first)) {
    *single = bits;
  } else {
    std::get<std::vector<float>>(first).front() = bits;
  }
}

}  // namespace bench
