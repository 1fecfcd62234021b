#pragma once

#include <string>
#include <string_view>

namespace corvalux::client {

/// Replaces bytes that are not UTF-8.
constexpr char32_t replacementGlyph = 0xFFFD;

/// Takes the next glyph from a text, which must not be empty; the replacement for bytes that are not UTF-8.
char32_t takeGlyph(std::string_view& text);
void appendGlyph(std::string& text, char32_t glyph);
/// Removes the last glyph, if any.
void removeLastGlyph(std::string& text);

/// Replaces all bytes that are not UTF-8; true if there were any.
bool repairUtf8(std::string& text);

/// The text with a space for every control character: what a device sends must not control a terminal.
std::string printable(std::string_view text);
bool isControl(char32_t glyph);

}  // namespace corvalux::client
