#include <algorithm>

#include "monitor/model/Scale.h"
#include "monitor/screen/Bar.h"
#include "monitor/screen/Panels.h"
#include "monitor/screen/Spark.h"
#include "monitor/text/Columns.h"
#include "monitor/text/Text.h"

namespace corvalux::monitor {

namespace {

constexpr int numberWidth = 6;
constexpr double overDb = -0.05;

/// The columns of a row, for the available width; a column that ends where it begins is not drawn.
struct Columns {
  int label;
  int bar;
  int barEnd;
  int number;
  int spark;
  int sparkEnd;
  int others;
  int end;
};

/// A row of the bridge: the head of a group, or a strip.
struct Row {
  std::string group;
  const Strip* strip = nullptr;
};

std::string groupOf(const std::string& prefix) { return prefix.substr(0, prefix.find('/')); }

/// "-12.3", or "-inf" for silence.
std::string levelText(double db) { return db <= floorDb ? "-inf" : decimal(db, 1); }

bool passes(const Strip& strip, const Board& board, const Ui& ui) {
  return strip.HasLevel() && (ui.Passes(strip.prefix) || ui.Passes(board.LabelOf(strip.prefix)));
}

std::vector<Row> rowsOf(const Board& board, const Ui& ui) {
  std::vector<Row> rows;
  for (const Strips* strips : {&board.Fast(), &board.Slow()}) {
    for (const Strip& strip : strips->All()) {
      if (!passes(strip, board, ui)) continue;
      const std::string group = groupOf(strip.prefix);
      if (rows.empty() || rows.back().group != group) rows.push_back({group, nullptr});
      rows.push_back({group, &strip});
    }
  }
  return rows;
}

Columns columnsOf(const Area& area, const Board& board) {
  std::size_t bands = 0;
  bool others = false;
  for (const Strip& strip : board.Fast().All()) {
    if (!strip.HasLevel()) continue;
    bands = std::max(bands, strip.spectrum.size());
    others = others || !strip.others.empty();
  }
  Columns columns{};
  columns.end = area.EndColumn();
  const int othersWidth = others && area.columns >= 90 ? 16 : 0;
  const int sparkWidth = area.columns >= 60 ? std::min(static_cast<int>(bands), area.columns / 6) : 0;
  columns.others = columns.end - othersWidth;
  columns.sparkEnd = columns.others - (othersWidth > 0 ? 2 : 0);
  columns.spark = columns.sparkEnd - sparkWidth;
  columns.number = columns.spark - (sparkWidth > 0 ? 2 : 0) - numberWidth;
  columns.label = area.column + 1;
  columns.bar = columns.label + std::clamp(area.columns / 6, 8, 20) + 1;
  columns.barEnd = columns.number - 1;
  return columns;
}

void drawStrip(Canvas& canvas, int row, const Columns& columns, const Strip& strip, const Board& board) {
  const double level = strip.peak ? *strip.peak : *strip.rms;
  canvas.Text(row, columns.label, fitted(board.LabelOf(strip.prefix), columns.bar - columns.label - 1), Style::plain);
  drawBar(canvas, row, columns.bar, columns.barEnd, {level, strip.rms ? *strip.rms : level, strip.hold});
  const std::string number = levelText(strip.hold);
  canvas.Text(row, columns.number + numberWidth - widthOf(number), number,
              strip.hold >= overDb ? Style::alert : styleOf(strip.hold));
  drawSpark(canvas, row, columns.spark, columns.sparkEnd, strip.spectrum);
  std::string others;
  for (const client::Entry& entry : strip.others)
    others += (others.empty() ? "" : " ") + entry.key + " " + client::describe(entry.value);
  canvas.Text(row, columns.others, fitted(others, columns.end - columns.others), Style::faint);
}

}  // namespace

int metersRows(const Board& board, const Ui& ui) {
  const auto rows = static_cast<int>(rowsOf(board, ui).size());
  return rows == 0 ? 2 : rows;
}

void drawMeters(Canvas& canvas, const Area& area, const Board& board, Ui& ui) {
  const std::vector<Row> rows = rowsOf(board, ui);
  const Ui::Place place{area, static_cast<int>(rows.size()), area.rows};
  const int first = ui.Settle(Panel::meters, place);
  if (rows.empty()) {
    drawTitle(canvas, area, "meters", ui, Panel::meters, place, first);
    canvas.Text(area.row + 1, area.column + 1, ui.Filter().empty() ? "no levels yet" : "no level passes the filter",
                Style::faint, area.EndColumn());
    return;
  }
  const Columns columns = columnsOf(area, board);
  for (int i = 0; i < area.rows && first + i < place.items; ++i) {
    const Row& row = rows[static_cast<std::size_t>(first) + static_cast<std::size_t>(i)];
    const int at = area.row + i;
    // The first row always shows the group and the scale, wherever the bridge is scrolled to.
    if (row.strip && i > 0) {
      drawStrip(canvas, at, columns, *row.strip, board);
      continue;
    }
    const Area title{at, area.column, 1, columns.bar - area.column - 1};
    drawTitle(canvas, title, row.group, ui, i == 0 ? Panel::meters : Panel::values, {}, 0);
    drawScale(canvas, at, columns.bar, columns.barEnd);
    if (i > 0 || columns.barEnd - columns.bar < 12) continue;
    canvas.Text(at, columns.number + 2, "hold", Style::faint, columns.number + numberWidth);
    if (columns.sparkEnd - columns.spark >= 8) canvas.Text(at, columns.spark, "spectrum", Style::faint);
  }
}

}  // namespace corvalux::monitor
