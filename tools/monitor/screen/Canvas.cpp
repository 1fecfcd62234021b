#include "monitor/screen/Canvas.h"

#include <algorithm>

#include "client/Utf8.h"
#include "monitor/text/Columns.h"

namespace corvalux::monitor {

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
    char32_t glyph = client::takeGlyph(text);
    const int width = widthOf(glyph);
    if (width == 0) continue;
    if (column + width > end) break;
    if (client::isControl(glyph)) glyph = U' ';
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
    if (glyph != 0) client::appendGlyph(text, glyph);
  }
  text.resize(text.find_last_not_of(' ') + 1);
  return text;
}

}  // namespace corvalux::monitor
