#include "client/Utf8.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace corvalux::client {

namespace {

/// The lowest glyph for each number of continuation bytes: a lower one has a shorter form.
constexpr std::array<char32_t, 4> lowest = {0, 0x80, 0x800, 0x10000};

bool isFollower(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

/// How many continuation bytes a leading byte has; -1 for any other byte.
int followersOf(unsigned char byte) {
  if (byte < 0x80) return 0;
  if (byte >= 0xC0 && byte < 0xE0) return 1;
  if (byte >= 0xE0 && byte < 0xF0) return 2;
  if (byte >= 0xF0 && byte < 0xF8) return 3;
  return -1;
}

bool isScalar(char32_t glyph) { return glyph <= 0x10FFFF && (glyph < 0xD800 || glyph > 0xDFFF); }

/// Decodes a glyph; false if it is not UTF-8. Removes the bytes that it has read either way.
bool take(std::string_view& text, char32_t& glyph) {
  const auto byte = static_cast<unsigned char>(text.front());
  text.remove_prefix(1);
  const int followers = followersOf(byte);
  if (followers < 0) return false;
  glyph = followers == 0 ? byte : byte & (0x3F >> followers);
  for (int i = 0; i < followers; ++i) {
    if (text.empty() || !isFollower(text.front())) return false;
    glyph = glyph << 6 | (static_cast<unsigned char>(text.front()) & 0x3F);
    text.remove_prefix(1);
  }
  return isScalar(glyph) && glyph >= lowest.at(static_cast<std::size_t>(followers));
}

}  // namespace

char32_t takeGlyph(std::string_view& text) {
  char32_t glyph = 0;
  return take(text, glyph) ? glyph : replacementGlyph;
}

void appendGlyph(std::string& text, char32_t glyph) {
  const auto add = [&text](char32_t byte) { text += static_cast<char>(byte); };
  if (glyph < 0x80) return add(glyph);
  if (glyph < 0x800) {
    add(0xC0 | glyph >> 6);
  } else if (glyph < 0x10000) {
    add(0xE0 | glyph >> 12);
    add(0x80 | (glyph >> 6 & 0x3F));
  } else {
    add(0xF0 | glyph >> 18);
    add(0x80 | (glyph >> 12 & 0x3F));
    add(0x80 | (glyph >> 6 & 0x3F));
  }
  add(0x80 | (glyph & 0x3F));
}

void removeLastGlyph(std::string& text) {
  while (!text.empty() && isFollower(text.back())) text.pop_back();
  if (!text.empty()) text.pop_back();
}

bool repairUtf8(std::string& text) {
  if (isAscii(text)) return false;
  bool repaired = false;
  std::string result;
  for (std::string_view rest = text; !rest.empty();) {
    char32_t glyph = 0;
    const bool good = take(rest, glyph);
    appendGlyph(result, good ? glyph : replacementGlyph);
    repaired = repaired || !good;
  }
  text = std::move(result);
  return repaired;
}

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const char32_t glyph = takeGlyph(text);
    appendGlyph(result, isControl(glyph) ? U' ' : glyph);
  }
  return result;
}

bool isControl(char32_t glyph) { return glyph < 0x20 || (glyph >= 0x7F && glyph < 0xA0); }

}  // namespace corvalux::client
