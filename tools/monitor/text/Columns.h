#pragma once

#include <string>
#include <string_view>

namespace corvalux::monitor {

/// Makes the C library read and write UTF-8, unless the user asked for something else. It also knows the widths.
void useUtf8();

/// How many columns a glyph takes on a terminal; a control character counts as the space that replaces it.
int widthOf(char32_t glyph);
/// How many columns a text takes.
int widthOf(std::string_view text);
/// As many glyphs as there are columns for, removed from the text.
std::string_view takeColumns(std::string_view& text, int width);
/// The text, cut with an ellipsis where it is wider.
std::string fitted(std::string_view text, int width);

}  // namespace corvalux::monitor
