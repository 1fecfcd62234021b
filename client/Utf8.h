#pragma once

#include <string>
#include <string_view>

namespace corvalux::client {

/// What stands for bytes that are not UTF-8.
constexpr char32_t replacementGlyph = 0xFFFD;

/// The next glyph of a text, removed from it; the text must not be empty. The replacement for bytes that are not UTF-8.
char32_t takeGlyph(std::string_view& text);
void appendGlyph(std::string& text, char32_t glyph);
/// Removes the last glyph, if there is one.
void removeLastGlyph(std::string& text);

/// Puts replacements for all bytes that are not UTF-8; true when there were any.
bool repairUtf8(std::string& text);

/// The text with a space for every control character: what a device sends must not steer a terminal.
std::string printable(std::string_view text);
bool isControl(char32_t glyph);

}  // namespace corvalux::client
