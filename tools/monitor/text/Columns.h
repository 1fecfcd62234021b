#pragma once

#include <string>
#include <string_view>

namespace corvalux::monitor {

/// Sets the user's locale, or a UTF-8 one if the user has none. It also defines the glyphs' widths.
void useUtf8();

/// The width of a glyph in terminal columns; a control character counts as the space that replaces it.
int widthOf(char32_t glyph);
/// The width of a text.
int widthOf(std::string_view text);
/// Takes as many glyphs from the text as fit into the columns.
std::string_view takeColumns(std::string_view& text, int width);
/// The text, truncated with an ellipsis if it is wider.
std::string fitted(std::string_view text, int width);

}  // namespace corvalux::monitor
