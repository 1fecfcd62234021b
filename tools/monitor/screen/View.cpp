#include "monitor/screen/View.h"

#include <algorithm>

#include "monitor/screen/Panels.h"

namespace corvalux::monitor {

namespace {

constexpr int wideColumns = 120;
constexpr int oneLineColumns = 150;

int headerRows(int rows, int columns) { return rows < 20 || columns >= oneLineColumns ? 2 : 4; }

/// Meters below the header; values and changes get the rest, but at least their share.
void stack(Layout& layout, int top, int rows, int columns, int metersWanted, int valuesWanted) {
  const int lists = std::min(rows, std::max(rows / 3, rows - metersWanted - 1));
  const int meters = std::max(0, rows - lists - (lists > 0 ? 1 : 0));
  const int values = std::min(valuesWanted, lists / 2 - 1);
  layout.meters = {top, 0, meters, columns};
  int row = top + meters + 1;
  if (values >= 2) {
    layout.values = {row, 0, values, columns};
    row += values + 1;
  }
  layout.changes = {row, 0, std::max(0, top + rows - row), columns};
}

void sideBySide(Layout& layout, int top, int rows, int columns, int metersWanted, int valuesWanted) {
  const int left = columns * 3 / 5;
  const int meters = std::min(metersWanted, rows);
  layout.meters = {top, 0, meters, left};
  layout.spectra = {top + meters + 1, 0, rows - meters - 1, left};
  const int values = std::min(valuesWanted, rows / 2);
  layout.values = {top, left + 2, values, columns - left - 2};
  layout.changes = {top + values + 1, left + 2, std::max(0, rows - values - 1), columns - left - 2};
}

}  // namespace

Layout layoutOf(int rows, int columns, const Board& board, const Ui& ui) {
  Layout layout;
  layout.header = {0, 0, std::min(rows, headerRows(rows, columns)), columns};
  layout.footer = {rows - 1, 0, 1, columns};
  const int top = layout.header.rows + (rows >= 16 ? 1 : 0);
  const int left = std::max(0, rows - 1 - top - (rows >= 24 ? 1 : 0));
  if (columns >= wideColumns) {
    sideBySide(layout, top, left, columns, metersRows(board, ui), valuesRows(board, ui, columns * 2 / 5 - 2));
  } else {
    stack(layout, top, left, columns, metersRows(board, ui), valuesRows(board, ui, columns));
  }
  return layout;
}

void draw(Canvas& canvas, const Board& board, Ui& ui, std::chrono::steady_clock::time_point now) {
  const Layout layout = layoutOf(canvas.Rows(), canvas.Columns(), board, ui);
  drawHeader(canvas, layout.header, board, ui, now);
  drawMeters(canvas, layout.meters, board, ui);
  drawSpectra(canvas, layout.spectra, board, ui);
  drawValues(canvas, layout.values, board, ui);
  drawChanges(canvas, layout.changes, board, ui);
  drawFooter(canvas, layout.footer, ui);
  if (ui.Help()) drawHelp(canvas);
}

}  // namespace corvalux::monitor
