#include "devhost/scene/Signal.h"

#include <algorithm>
#include <array>

namespace scene {

namespace {

constexpr uint32_t signalPurpose = 1;
constexpr double noiseDb = -88;

constexpr std::array<Character, 8> characters = {{
    //              level spread hits fall crest phrase pause band width
    {"Lead vocal", -14, 4.0, 3.5, 28, 12, 5.0, 1.5, 5.0, 2.2},
    {"Kick", -9, 1.5, 2.2, 75, 9, 20.0, 2.0, 1.2, 1.2},
    {"Snare", -10, 2.5, 1.9, 85, 13, 18.0, 3.0, 4.0, 2.5},
    {"Bass", -13, 2.0, 2.8, 14, 7, 15.0, 2.0, 1.6, 1.4},
    {"Guitar", -16, 3.0, 4.0, 18, 10, 9.0, 3.0, 4.5, 2.0},
    {"Keys", -18, 3.5, 2.5, 10, 10, 8.0, 4.0, 4.2, 2.6},
    {"Strings", -20, 2.0, 5.0, 4, 8, 12.0, 6.0, 5.0, 2.4},
    {"Audience", -34, 6.0, 0.9, 6, 14, 30.0, 1.0, 5.5, 3.5},
}};

}  // namespace

const Character& characterOf(std::size_t index) { return characters[index % characters.size()]; }

Signal::Signal(const Character& character, uint64_t seed, uint32_t index)
    : character(&character), random(seed, signalPurpose, index), wobble(bandCount) {
  untilTurn = character.phrase * random.Between(0.2, 1.5);
  envelope = character.level - random.Between(0, 30);
}

void Signal::Step(double seconds) {
  untilTurn -= seconds;
  if (untilTurn <= 0) {
    playing = !playing;
    untilTurn = (playing ? character->phrase : character->pause) * random.Between(0.5, 1.5);
  }
  envelope = std::max(envelope - character->fall * seconds, noiseDb + random.Normal());
  if (playing && random.Uniform() < character->hits * seconds) {
    envelope = std::max(envelope, character->level + character->spread * random.Normal());
  }
  for (double& offset : wobble) offset += seconds * (60 * random.Normal() - 3 * offset);
}

double Signal::BandOffset(std::size_t band) const {
  const double distance = (static_cast<double>(band) - character->centreBand) / character->width;
  return wobble[band] - 4 - 6 * distance * distance;
}

}  // namespace scene
