#include "devhost/Misbehaviour.h"

#include <array>
#include <stdexcept>
#include <utility>
#include <vector>

namespace corvalux::devhost {

namespace {

constexpr std::array<std::pair<const char*, Misbehaviour>, 6> names = {{
    {"unknown-kinds", Misbehaviour::unknownKinds},
    {"empty-texts", Misbehaviour::emptyTexts},
    {"not-utf8", Misbehaviour::notUtf8},
    {"huge-lists", Misbehaviour::hugeLists},
    {"zero-counts", Misbehaviour::zeroCounts},
    {"duplicate-keys", Misbehaviour::duplicateKeys},
}};

constexpr uint64_t pointsNowhere = 0xDEAD;  // dereferencing it crashes

void addUnknownKinds(uint32_t count, sim::KeyValues& list) {
  switch (count % 3) {
    case 0: list.push_back({"odd/unknown", static_cast<float>(count)}); break;
    case 1: list.push_back({"odd/unknown", sim::UnknownKind{8, pointsNowhere}}); break;
    default: list.push_back({"odd/unknown", sim::UnknownKind{-1, pointsNowhere}}); break;
  }
}

void addHugeList(sim::KeyValues& list) {
  for (uint32_t i = 0; i < 20000; ++i) list.push_back({"odd/entry/" + std::to_string(i), i});
  list.push_back({"odd/array", std::vector<float>(250000, -120.0F)});
  list.push_back({"odd/text", std::string(100000, 'x')});
}

void addArrays(std::size_t elements, sim::KeyValues& list) {
  list.push_back({"odd/uints", std::vector<uint32_t>(elements, 1)});
  list.push_back({"odd/ints", std::vector<int32_t>(elements, -1)});
  list.push_back({"odd/floats", std::vector<float>(elements, 0.5F)});
}

}  // namespace

Misbehaviour misbehaviourOf(const std::string& name) {
  for (const auto& [known, behaviour] : names) {
    if (name == known) return behaviour;
  }
  throw std::invalid_argument("there is no misbehaviour '" + name + "'; there are " + misbehaviourNames());
}

std::string misbehaviourNames() {
  std::string all;
  for (const auto& [name, behaviour] : names) all += (all.empty() ? "" : ", ") + std::string(name);
  return all;
}

void misbehave(Misbehaviour behaviour, uint32_t count, sim::KeyValues& list) {
  const bool even = count % 2 == 0;
  switch (behaviour) {
    case Misbehaviour::unknownKinds: return addUnknownKinds(count, list);
    case Misbehaviour::emptyTexts:
      if (even)
        list.insert(list.end(), {{"odd/empty", std::string()}, {"", std::string("keyless")}, {"", std::string()}});
      return;
    case Misbehaviour::notUtf8:
      if (even) list.insert(list.end(), {{"odd/latin-1", std::string("caf\xE9")}, {"odd/key-\xFF", 1U}});
      return;
    case Misbehaviour::hugeLists:
      if (count % 10 == 0) addHugeList(list);
      return;
    case Misbehaviour::zeroCounts: return addArrays(even ? 0 : 3, list);
    case Misbehaviour::duplicateKeys:
      list.insert(list.end(), {{"odd/twice", count}, {"odd/twice", std::string("again")}});
      return;
  }
}

}  // namespace corvalux::devhost
