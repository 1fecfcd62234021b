#include <gmock/gmock.h>

#include <map>
#include <set>
#include <string>
#include <utility>

#include "devhost/scene/Mixer.h"

namespace {

using scene::Mixer;
using sim::KeyValues;
using sim::Value;
using testing::PrintToString;

using Next = KeyValues (Mixer::*)();
constexpr Next streams[] = {&Mixer::NextFast, &Mixer::NextSlow, &Mixer::NextChanges};

std::string textOf(const KeyValues& list) {
  std::string text;
  for (const auto& [key, value] : list) text += key + " " + PrintToString(value) + "\n";
  return text;
}

std::string play(const scene::MixerSettings& settings, Next next, int lists) {
  Mixer mixer(settings);
  std::string text;
  for (int i = 0; i < lists; ++i) text += textOf((mixer.*next)());
  return text;
}

const Value* find(const KeyValues& list, const std::string& key) {
  for (const auto& named : list) {
    if (named.key == key) return &named.value;
  }
  return nullptr;
}

float level(const KeyValues& list, const std::string& key) { return std::get<float>(*find(list, key)); }

TEST(Scene, RepeatsForASeed) {
  for (const Next next : streams) EXPECT_EQ(play({.seed = 5}, next, 100), play({.seed = 5}, next, 100));
}

TEST(Scene, DiffersForAnotherSeed) {
  for (const Next next : streams) EXPECT_NE(play({.seed = 5}, next, 100), play({.seed = 6}, next, 100));
}

TEST(Scene, DoesNotDependOnWhenTheOtherListsAreTaken) {
  Mixer mixer({.seed = 5});
  for (int i = 0; i < 30; ++i) mixer.NextFast(), mixer.NextChanges();
  std::string slow;
  for (int i = 0; i < 10; ++i) slow += textOf(mixer.NextSlow());
  EXPECT_EQ(slow, play({.seed = 5}, &Mixer::NextSlow, 10));
}

TEST(Scene, CountersComeFirstAndRiseByOne) {
  Mixer mixer({});
  for (const Next next : streams) {
    for (uint32_t i = 1; i <= 50; ++i) {
      const KeyValues list = (mixer.*next)();
      EXPECT_EQ(list.front().key, "counter");
      EXPECT_EQ(std::get<uint32_t>(list.front().value), i);
    }
  }
}

TEST(Scene, HasAllEightKindsOnEveryStream) {
  for (const Next next : streams) {
    Mixer mixer({});
    std::set<std::size_t> kinds;
    for (int i = 0; i < 60; ++i) {
      for (const auto& named : (mixer.*next)()) kinds.insert(named.value.index());
    }
    EXPECT_THAT(kinds, testing::ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
  }
}

TEST(Scene, MeterListsKeepTheirShape) {
  for (const Next next : {&Mixer::NextFast, &Mixer::NextSlow}) {
    Mixer mixer({.channels = 3});
    const KeyValues first = (mixer.*next)();
    for (int i = 0; i < 200; ++i) {
      const KeyValues list = (mixer.*next)();
      ASSERT_EQ(list.size(), first.size());
      for (std::size_t k = 0; k < list.size(); ++k) {
        EXPECT_EQ(list[k].key, first[k].key);
        EXPECT_EQ(list[k].value.index(), first[k].value.index());
      }
    }
  }
}

TEST(Scene, ChangeListsHoldOnlyWhatChanged) {
  Mixer mixer({.channels = 4});
  std::map<std::string, std::string> known;
  for (int i = 0; i < 2000; ++i) {
    const KeyValues list = mixer.NextChanges();
    ASSERT_GE(list.size(), 2U) << "nothing but the counter";
    std::set<std::string> keys;
    for (const auto& [key, value] : list) {
      EXPECT_TRUE(keys.insert(key).second) << key << " twice in one list";
      const std::string text = PrintToString(value);
      EXPECT_NE(known[key], text) << key << " has not changed";
      known[key] = text;
    }
  }
}

std::map<std::string, std::string> parametersOf(const scene::Desk& desk) {
  std::map<std::string, std::string> all;
  for (std::size_t i = 0; i < desk.Strips().size(); ++i) {
    const scene::Strip& strip = desk.Strips()[i];
    const std::string prefix = "input/" + std::to_string(i + 1) + "/";
    const std::pair<const char*, Value> values[] = {
        {"gain", strip.gain}, {"mute", strip.mute},   {"name", strip.name}, {"routing", strip.routing},
        {"pan", strip.pan},   {"delay", strip.delay}, {"eq", strip.eq},     {"colour", strip.colour}};
    for (const auto& [name, value] : values) all[prefix + name] = PrintToString(value);
  }
  for (std::size_t i = 0; i < scene::busCount; ++i) {
    all["bus/" + std::to_string(i + 1) + "/gain"] = PrintToString(Value(desk.BusGain(i)));
  }
  return all;
}

TEST(Scene, TheDeskTellsExactlyWhatItChanged) {
  scene::Desk desk(4, 9);
  auto parameters = parametersOf(desk);
  for (int i = 0; i < 1000; ++i) {
    const auto before = parameters;
    for (const auto& [key, value] : desk.Act()) {
      EXPECT_NE(before.at(key), PrintToString(value));
      parameters[key] = PrintToString(value);
    }
    ASSERT_EQ(parameters, parametersOf(desk));
  }
}

TEST(Scene, LevelsStayBetweenFloorAndFullScaleAndMove) {
  Mixer mixer({.channels = 8});
  std::map<std::string, std::set<float>> seen;
  for (int i = 0; i < 25 * 60; ++i) {
    for (const auto& [key, value] : mixer.NextFast()) {
      if (!std::holds_alternative<float>(value)) continue;
      EXPECT_GE(std::get<float>(value), -120) << key;
      EXPECT_LE(std::get<float>(value), 0) << key;
      seen[key].insert(std::get<float>(value));
    }
  }
  EXPECT_EQ(seen.size(), 8U * 2 + scene::busCount * 2);
  for (const auto& [key, levels] : seen) EXPECT_GT(levels.size(), 100U) << key;
}

TEST(Scene, PeakIsNeverBelowRmsForLong) {
  Mixer mixer({.channels = 8});
  for (int i = 0; i < 25 * 60; ++i) {
    const KeyValues list = mixer.NextFast();
    for (int input = 1; input <= 8; ++input) {
      const std::string prefix = "input/" + std::to_string(input) + "/";
      EXPECT_GE(level(list, prefix + "peak"), level(list, prefix + "rms") - 1) << prefix;
    }
  }
}

TEST(Scene, AMutedInputFallsSilentInTheMetersToo) {
  // One change in five seconds: time enough to hear each of them.
  Mixer mixer({.channels = 2, .fastHz = 1, .changesHz = 0.2});
  int muted = 0;
  for (int change = 0; change < 100; ++change) {
    const KeyValues changes = mixer.NextChanges();
    KeyValues meters;
    for (int second = 0; second < 5; ++second) meters = mixer.NextFast();
    for (const std::string input : {"input/1/", "input/2/"}) {
      const Value* mute = find(changes, input + "mute");
      if (!mute || std::get<int32_t>(*mute) == 0) continue;
      ++muted;
      EXPECT_LT(level(meters, input + "rms"), -50);
    }
  }
  EXPECT_GT(muted, 3);
}

TEST(Scene, RunsWithOneInputAndWithAThousand) {
  Mixer one({.channels = 1});
  EXPECT_TRUE(find(one.NextFast(), "input/1/peak"));
  EXPECT_FALSE(find(one.NextFast(), "input/2/peak"));
  for (int i = 0; i < 100; ++i) EXPECT_GE(one.NextChanges().size(), 2U);
  Mixer thousand({.channels = 1000});
  EXPECT_TRUE(find(thousand.NextFast(), "input/1000/spectrum"));
}

}  // namespace
