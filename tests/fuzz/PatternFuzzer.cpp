// A pattern and a key. Whatever they are, the pattern matches as a table of all prefixes says, and only what a pattern
// may not be is refused.
#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/ByteReader.h"
#include "fuzz/Check.h"
#include "gateway/keys/Pattern.h"

namespace {

using corvalux::gateway::Pattern;

/// What a piece of a pattern takes of a key.
struct Piece {
  char letter;
  bool many;
  bool across;

  bool Takes(char other) const { return many ? across || other != '/' : other == letter; }
};

std::vector<Piece> piecesOf(const std::string& pattern) {
  std::vector<Piece> pieces;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const bool star = pattern[i] == '*';
    if (star && i > 0 && pattern[i - 1] == '*') {
      pieces.back().across = true;
    } else {
      pieces.push_back({pattern[i], star, false});
    }
  }
  return pieces;
}

/// `matched[i]`: the pieces so far match the first i letters of the key.
bool matches(const std::string& pattern, std::string_view key) {
  std::vector<char> matched(key.size() + 1, 0);
  matched[0] = 1;
  for (const Piece& piece : piecesOf(pattern)) {
    std::vector<char> next(key.size() + 1, 0);
    next[0] = static_cast<char>(piece.many && matched[0]);
    for (std::size_t i = 0; i < key.size(); ++i) {
      const bool taken = piece.Takes(key[i]) && (matched[i] || (piece.many && next[i]));
      next[i + 1] = static_cast<char>(taken || (piece.many && matched[i + 1]));
    }
    matched = next;
  }
  return matched.back();
}

bool mayBePattern(const std::string& text) {
  return !text.empty() && text.size() <= Pattern::longest &&
         std::all_of(text.begin(), text.end(), [](unsigned char letter) { return letter >= 0x20; });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  fuzz::ByteReader input(data, size);
  const bool fewLetters = input.Take<uint8_t>() % 2 == 1;  // so that matches are likely
  std::string text;
  std::string key;
  for (std::size_t left = input.Take<uint16_t>() % 300; left > 0 && !input.Empty(); --left) {
    text += fewLetters ? "*ab/"[input.Take<uint8_t>() % 4] : input.Take<char>();
  }
  while (!input.Empty()) key += fewLetters ? "*ab/"[input.Take<uint8_t>() % 4] : input.Take<char>();
  try {
    const Pattern pattern(text);
    FUZZ_CHECK(mayBePattern(text));
    FUZZ_CHECK(pattern.Matches(key) == matches(text, key));
    FUZZ_CHECK(!pattern.IsKey() || pattern.Matches(text));
  } catch (const std::invalid_argument&) {
    FUZZ_CHECK(!mayBePattern(text));
  }
  return 0;
}
