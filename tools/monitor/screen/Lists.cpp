#include <algorithm>

#include "monitor/screen/Panels.h"
#include "monitor/screen/Spark.h"
#include "monitor/text/Columns.h"
#include "monitor/text/Text.h"

namespace corvalux::monitor {

namespace {

constexpr int cellWidth = 36;

/// A value that is not a level.
struct Item {
  std::string key;
  const client::Value* value;
};

/// The bridge shows the values of strips with a level, and names as labels.
std::vector<Item> itemsOf(const Board& board, const Ui& ui) {
  std::vector<Item> items;
  for (const Strips* strips : {&board.Fast(), &board.Slow()}) {
    for (const Strip& strip : strips->All()) {
      const std::string before = strip.prefix.empty() ? "" : strip.prefix + "/";
      if (strip.HasLevel()) continue;
      for (const client::Entry& entry : strip.others) {
        std::string key = before + entry.key;
        if (entry.key != "name" && entry.key != "counter" && ui.Passes(key))
          items.push_back({std::move(key), &entry.value});
      }
    }
  }
  return items;
}

void drawItem(Canvas& canvas, const Area& cell, const Item& item, int keyWidth) {
  const auto* numbers = std::get_if<std::vector<float>>(item.value);
  const std::string text = client::describe(*item.value);
  canvas.Text(cell.row, cell.column, fitted(item.key, keyWidth), Style::faint);
  const int column = cell.column + keyWidth + 1;
  if (numbers && numbers->size() > 3) {
    drawSpark(canvas, cell.row, column, cell.EndColumn(), *numbers);
  } else {
    canvas.Text(cell.row, column, fitted(text, cell.EndColumn() - column), Style::plain);
  }
}

int cellsPerRow(int columns) { return std::max(1, (columns - 1) / cellWidth); }

int rowsFor(int items, int perRow) { return (items + perRow - 1) / perRow; }

}  // namespace

void drawTitle(Canvas& canvas, const Area& area, const std::string& title, const Ui& ui, Panel panel,
               const Ui::Place& place, int first) {
  const bool focused = ui.Focus() == panel && area.row > 0;
  int column = canvas.Text(area.row, area.column, focused ? "▸" : " ", Style::strong, area.EndColumn());
  column = canvas.Text(area.row, column, title, Style::strong, area.EndColumn());
  if (place.items <= place.visible) return;
  const std::string part = std::to_string(first + 1) + "–" +
                           std::to_string(std::min(place.items, first + place.visible)) + " of " +
                           std::to_string(place.items);
  canvas.Text(area.row, column + 2, part, Style::faint, area.EndColumn());
}

int valuesRows(const Board& board, const Ui& ui, int columns) {
  return 1 + rowsFor(static_cast<int>(itemsOf(board, ui).size()), cellsPerRow(columns));
}

void drawValues(Canvas& canvas, const Area& area, const Board& board, Ui& ui) {
  const auto items = itemsOf(board, ui);
  const int perRow = cellsPerRow(area.columns);
  const int width = (area.columns - 1) / perRow;
  const Ui::Place place{area, rowsFor(static_cast<int>(items.size()), perRow), std::max(0, area.rows - 1)};
  const int first = ui.Settle(Panel::values, place);
  if (area.rows <= 0) return;
  drawTitle(canvas, area, "values", ui, Panel::values, place, first);
  int keyWidth = 0;
  for (const Item& item : items) keyWidth = std::max(keyWidth, widthOf(item.key));
  keyWidth = std::min(keyWidth, (width - 2) * 3 / 5);
  for (int i = 0; i < place.visible * perRow; ++i) {
    const auto index = static_cast<std::size_t>(first) * static_cast<std::size_t>(perRow) + static_cast<std::size_t>(i);
    if (index >= items.size()) return;
    drawItem(canvas, {area.row + 1 + i / perRow, area.column + 1 + i % perRow * width, 1, width - 2}, items[index],
             keyWidth);
  }
}

void drawChanges(Canvas& canvas, const Area& area, const Board& board, Ui& ui) {
  std::vector<const ChangeLine*> lines;
  int keyWidth = 0;
  for (const ChangeLine& line : board.Changes()) {
    if (!ui.Passes(line.key)) continue;
    lines.push_back(&line);
    if (lines.size() < 50) keyWidth = std::max(keyWidth, widthOf(line.key));
  }
  keyWidth = std::min(keyWidth, area.columns / 3);
  const Ui::Place place{area, static_cast<int>(lines.size()), std::max(0, area.rows - 1)};
  const int first = ui.Settle(Panel::changes, place);
  if (area.rows <= 0) return;
  drawTitle(canvas, area, "changes", ui, Panel::changes, place, first);
  for (int i = 0; i < place.visible && first + i < place.items; ++i) {
    const ChangeLine& line = *lines[static_cast<std::size_t>(first) + static_cast<std::size_t>(i)];
    const int row = area.row + 1 + i;
    int column = area.column + 1;
    if (area.columns >= 50) column = canvas.Text(row, column, clockText(line.time), Style::faint) + 2;
    canvas.Text(row, column, fitted(line.key, keyWidth), Style::plain);
    column += keyWidth + 2;
    if (!line.before.empty()) {
      const int room = (area.EndColumn() - column - 3) / 2;
      column = canvas.Text(row, column, fitted(line.before, room), Style::faint) + 1;
      column = canvas.Text(row, column, "→ ", Style::faint);
    }
    canvas.Text(row, column, fitted(line.after, area.EndColumn() - column), Style::strong);
  }
}

}  // namespace corvalux::monitor
