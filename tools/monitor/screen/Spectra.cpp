#include <algorithm>
#include <array>

#include "monitor/model/Scale.h"
#include "monitor/screen/Bar.h"
#include "monitor/screen/Panels.h"
#include "monitor/screen/Spark.h"
#include "monitor/text/Columns.h"

namespace corvalux::monitor {

namespace {

constexpr int chartRows = 6;
constexpr int minimumWidth = 12;

/// A bar chart, with its name below.
void drawChart(Canvas& canvas, const Area& area, const std::string& name, const std::vector<float>& bands) {
  static constexpr std::array<char32_t, 9> glyphs = {U' ', U'▁', U'▂', U'▃', U'▄', U'▅', U'▆', U'▇', U'█'};
  const int bars = std::min(static_cast<int>(bands.size()), area.columns);
  const int width = std::max(1, area.columns / std::max(bars, 1));
  for (int bar = 0; bar < bars; ++bar) {
    const double level = bands[static_cast<std::size_t>(bar)];
    const double height = bandDeflection(level) * (area.rows - 1);
    for (int row = 0; row < area.rows - 1; ++row) {
      const double part = std::clamp(height - row, 0.0, 1.0);
      const char32_t glyph = glyphs.at(static_cast<std::size_t>(part * 8));
      // Bars that are wide enough have gaps.
      const int end = std::min((bar + 1) * width - (width > 1 ? 1 : 0), area.columns);
      canvas.Fill(area.EndRow() - 2 - row, area.column + bar * width, area.column + end, styleOf(level), glyph);
    }
    if (height * 8 < 1) canvas.Put(area.EndRow() - 2, area.column + bar * width, U'▁', Style::faint);
  }
  canvas.Text(area.EndRow() - 1, area.column, fitted(name, area.columns), Style::faint);
}

}  // namespace

void drawSpectra(Canvas& canvas, const Area& area, const Board& board, const Ui& ui) {
  if (area.rows <= chartRows) return;
  std::vector<const Strip*> strips;
  std::size_t bands = 0;
  for (const Strip& strip : board.Fast().All()) {
    const std::string label = board.LabelOf(strip.prefix);
    if (!areLevels(strip.spectrum) || !(ui.Passes(strip.prefix) || ui.Passes(label))) continue;
    strips.push_back(&strip);
    bands = std::max(bands, strip.spectrum.size());
  }
  if (strips.empty()) return;
  canvas.Text(area.row, area.column + 1, "spectra", Style::strong, area.EndColumn());
  const int wanted = std::max(static_cast<int>(bands) * 2, minimumWidth) + 2;
  const int perRow = std::max(1, (area.columns - 1) / wanted);
  const int chartWidth = (area.columns - 1) / perRow;
  const int rows = std::min((area.rows - 1) / chartRows, (static_cast<int>(strips.size()) + perRow - 1) / perRow);
  const int height = std::min((area.rows - 1) / std::max(rows, 1), chartRows + 2);
  for (int i = 0; i < std::min(rows * perRow, static_cast<int>(strips.size())); ++i) {
    const Strip& strip = *strips[static_cast<std::size_t>(i)];
    const Area chart{area.row + 1 + i / perRow * height, area.column + 1 + i % perRow * chartWidth, height,
                     chartWidth - 2};
    drawChart(canvas, chart, board.LabelOf(strip.prefix), strip.spectrum);
  }
}

}  // namespace corvalux::monitor
