#include "gateway/keys/Pattern.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace corvalux::gateway {

namespace {

void check(const std::string& text) {
  if (text.empty()) throw std::invalid_argument("a pattern must not be empty");
  if (text.size() > Pattern::longest) {
    throw std::invalid_argument("a pattern has at most " + std::to_string(Pattern::longest) + " bytes");
  }
  const bool control =
      std::any_of(text.begin(), text.end(), [](char letter) { return static_cast<unsigned char>(letter) < 0x20; });
  if (control) throw std::invalid_argument("a pattern must not contain control characters");
}

}  // namespace

/// State N means that the first N letters and stars have matched. Stars in a row are one, so that a state that may be
/// skipped never follows another one.
Pattern::Pattern(std::string given) : text(std::move(given)), places(1) {
  check(text);
  for (std::size_t i = 0; i < text.size(); ++end) {
    if (text[i] != '*') {
      WhereStands(text[i++]).set(end);
      continue;
    }
    const std::size_t next = std::min(text.find_first_not_of('*', i), text.size());
    stars.set(end);
    if (next - i > 1) across.set(end);
    i = next;
  }
}

Pattern::States& Pattern::WhereStands(char letter) {
  uint8_t& place = placeOf.at(static_cast<unsigned char>(letter));
  if (place == 0) {
    place = static_cast<uint8_t>(places.size());
    places.emplace_back();
  }
  return places[place];
}

bool Pattern::Matches(std::string_view key) const {
  States states(1);
  states |= (states & stars) << 1;
  for (const char letter : key) {
    const States staying = states & (letter == '/' ? across : stars);
    states = (states & places[placeOf.at(static_cast<unsigned char>(letter))]) << 1 | staying;
    if (states.none()) return false;
    states |= (states & stars) << 1;
  }
  return states.test(end);
}

}  // namespace corvalux::gateway
