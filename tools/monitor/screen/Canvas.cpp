#include "monitor/screen/Canvas.h"

#include <algorithm>
#include <cwchar>

namespace monitor {

namespace {

constexpr char32_t replacement = 0xFFFD;

/// Columns of a glyph; control characters count as the space they become.
int widthOf(char32_t glyph) {
  if (glyph < 0x20 || (glyph >= 0x7F && glyph < 0xA0)) return 1;
  return std::max(0, wcwidth(static_cast<wchar_t>(glyph)));
}

/// How many bytes follow a leading byte; -1 for one that is not a leading byte.
int followersOf(unsigned char byte) {
  if (byte < 0x80) return 0;
  if (byte >= 0xC2 && byte < 0xE0) return 1;
  if (byte >= 0xE0 && byte < 0xF0) return 2;
  if (byte >= 0xF0 && byte < 0xF5) return 3;
  return -1;
}

}  // namespace

char32_t takeGlyph(std::string_view& text) {
  const auto byte = static_cast<unsigned char>(text.front());
  text.remove_prefix(1);
  const int followers = followersOf(byte);
  if (followers < 0) return replacement;
  char32_t glyph = followers == 0 ? byte : byte & (0x3F >> followers);
  for (int i = 0; i < followers; ++i) {
    if (text.empty() || (static_cast<unsigned char>(text.front()) & 0xC0) != 0x80) return replacement;
    glyph = glyph << 6 | (static_cast<unsigned char>(text.front()) & 0x3F);
    text.remove_prefix(1);
  }
  return glyph;
}

void appendUtf8(std::string& text, char32_t glyph) {
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

int widthOf(std::string_view text) {
  int width = 0;
  while (!text.empty()) width += widthOf(takeGlyph(text));
  return width;
}

std::string_view takeColumns(std::string_view& text, int width) {
  const std::string_view whole = text;
  for (std::string_view rest = text; !rest.empty(); text = rest) {
    width -= widthOf(takeGlyph(rest));
    if (width < 0) break;
  }
  return whole.substr(0, whole.size() - text.size());
}

std::string fitted(std::string_view text, int width) {
  if (widthOf(text) <= width) return std::string(text);
  return width > 0 ? std::string(takeColumns(text, width - 1)) + "…" : "";
}

Canvas::Canvas(int rows, int columns)
    : rows(std::max(rows, 0)),
      columns(std::max(columns, 0)),
      cells(static_cast<std::size_t>(this->rows) * static_cast<std::size_t>(this->columns)) {}

const Cell& Canvas::At(int row, int column) const {
  return cells.at(static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) + static_cast<std::size_t>(column));
}

void Canvas::Put(int row, int column, char32_t glyph, Style style) {
  if (row < 0 || row >= rows || column < 0 || column >= columns) return;
  cells[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) + static_cast<std::size_t>(column)] = {glyph,
                                                                                                                 style};
}

int Canvas::Text(int row, int column, std::string_view text, Style style, int end) {
  end = std::min(end, columns);
  while (!text.empty()) {
    char32_t glyph = takeGlyph(text);
    const int width = widthOf(glyph);
    if (width == 0) continue;
    if (column + width > end) break;
    if (glyph < 0x20 || (glyph >= 0x7F && glyph < 0xA0)) glyph = U' ';
    Put(row, column, glyph, style);
    if (width == 2) Put(row, column + 1, 0, style);
    column += width;
  }
  return column;
}

void Canvas::Fill(int row, int column, int end, Style style, char32_t glyph) {
  for (; column < std::min(end, columns); ++column) Put(row, column, glyph, style);
}

std::string Canvas::Row(int row) const {
  std::string text;
  for (int column = 0; column < columns; ++column) {
    const char32_t glyph = At(row, column).glyph;
    if (glyph != 0) appendUtf8(text, glyph);
  }
  text.resize(text.find_last_not_of(' ') + 1);
  return text;
}

}  // namespace monitor
