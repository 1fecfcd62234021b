#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace corvalux::monitor {

/// The role of a piece of the screen; the terminal chooses its colour.
enum class Style { plain, faint, strong, title, good, warm, hot, alert, mark, selected };
constexpr std::size_t styleCount = 10;

struct Cell {
  char32_t glyph = U' ';  ///< 0: the right half of the glyph before
  Style style = Style::plain;

  bool operator==(const Cell&) const = default;
};

/// The cells of a screen. Writing outside is clipped, never an error.
class Canvas {
 public:
  Canvas(int rows, int columns);

  int Rows() const { return rows; }
  int Columns() const { return columns; }
  const Cell& At(int row, int column) const;

  void Put(int row, int column, char32_t glyph, Style style);
  /// Writes UTF-8 up to the column `end`; returns the column behind the text. Control characters become spaces, glyphs
  /// without a width are left out.
  int Text(int row, int column, std::string_view text, Style style, int end);
  int Text(int row, int column, std::string_view text, Style style) { return Text(row, column, text, style, columns); }
  void Fill(int row, int column, int end, Style style, char32_t glyph = U' ');

  /// A row as UTF-8, without the spaces at its end.
  std::string Row(int row) const;

 private:
  int rows;
  int columns;
  std::vector<Cell> cells;
};

}  // namespace corvalux::monitor
