#include <algorithm>
#include <utility>

#include "monitor/screen/Panels.h"
#include "monitor/text/Columns.h"
#include "monitor/text/Sentences.h"
#include "monitor/text/Text.h"

namespace corvalux::monitor {

namespace {

using Clock = std::chrono::steady_clock;

/// A figure with its label; figures are aligned in columns.
struct Figure {
  std::string text;
  Style style;
  int width;
};

std::string padded(const std::string& text, int width) {
  return std::string(static_cast<std::size_t>(std::max(0, width - widthOf(text))), ' ') + text;
}

/// The most important first: those that do not fit are dropped from the end.
std::vector<Figure> figuresOf(const client::StreamStatistics& statistics, Clock::time_point now) {
  const auto age = statistics.Age(now);
  const bool stale = age && *age > std::chrono::seconds(5);
  std::vector<Figure> figures = {
      {decimal(statistics.MessagesPerSecond(now), 1) + "/s", Style::strong, 8},
      {age ? durationText(*age) + " old" : "none yet", stale ? Style::warm : Style::plain, 11}};
  if (statistics.Rejected() > 0) {
    figures.push_back({std::to_string(statistics.Rejected()) + " rejected", Style::hot, 12});
  }
  if (statistics.Repaired() > 0) {
    figures.push_back({std::to_string(statistics.Repaired()) + " repaired", Style::warm, 12});
  }
  if (statistics.HasCounter() || statistics.Missed() > 0) {
    const Style style = statistics.Missed() > 0 ? Style::warm : Style::plain;
    figures.push_back({std::to_string(statistics.Missed()) + " missed", style, 10});
  }
  figures.push_back({"±" + decimal(statistics.JitterMs(now), 1) + " ms", Style::plain, 10});
  figures.push_back({bytesText(statistics.BytesPerSecond(now)) + "/s", Style::plain, 11});
  figures.push_back({bytesText(static_cast<double>(statistics.Bytes())), Style::plain, 10});
  figures.push_back({std::to_string(statistics.Messages()) + (statistics.Messages() == 1 ? " message" : " messages"),
                     Style::plain, 17});
  return figures;
}

void drawStream(Canvas& canvas, const Area& area, client::Stream stream, const Board& board, Clock::time_point now,
                bool tight) {
  int column = canvas.Text(area.row, area.column, nameOf(stream), Style::faint, area.EndColumn());
  if (!tight) column = std::max(column, area.column + 7);
  for (const Figure& figure : figuresOf(board.Latest().statistics.at(indexOf(stream)), now)) {
    const std::string text = tight ? " " + figure.text : padded(figure.text, figure.width);
    if (column + widthOf(text) > area.EndColumn()) return;
    column = canvas.Text(area.row, column, text, figure.style, area.EndColumn());
  }
}

/// The state in a word, for narrow screens, and its style.
std::pair<std::string, Style> badgeOf(const client::ConnectionState& state) {
  switch (state.phase) {
    case client::ConnectionState::Phase::connected: return {"● live", Style::title};
    case client::ConnectionState::Phase::connecting: return {"○ connecting", Style::title};
    case client::ConnectionState::Phase::waiting: return {"○ offline", Style::alert};
    case client::ConnectionState::Phase::ended: break;
  }
  return {"○ ended", Style::alert};
}

void drawTitleRow(Canvas& canvas, const Area& area, const Board& board, const Ui& ui) {
  canvas.Fill(area.row, area.column, area.EndColumn(), Style::title);
  auto [badge, style] = badgeOf(board.Latest().state);
  if (ui.Paused()) badge = "PAUSED  " + badge;
  const int badgeColumn = area.EndColumn() - widthOf(badge) - 1;
  std::string name = " corvalux  " + board.Address();
  if (widthOf(name) > badgeColumn - 1) name = " " + board.Address();
  canvas.Text(area.row, area.column, fitted(name, badgeColumn - 1), Style::title);
  canvas.Text(area.row, badgeColumn, badge, style);
}

}  // namespace

void drawHeader(Canvas& canvas, const Area& area, const Board& board, const Ui& ui, Clock::time_point now) {
  drawTitleRow(canvas, area, board, ui);
  const client::ConnectionState& state = board.Latest().state;
  const Area line{area.row + 1, area.column + 1, 1, area.columns - 2};
  if (state.phase == client::ConnectionState::Phase::waiting || state.phase == client::ConnectionState::Phase::ended) {
    // One row has the summary; more rows have the details.
    const std::string sentence = sentenceOf(state, board.Address());
    std::string_view rest = sentence;
    for (int row = line.row; row < area.EndRow() && !rest.empty(); ++row) {
      const bool last = row + 1 == area.EndRow();
      const std::string part = last ? fitted(rest, line.columns) : std::string(takeColumns(rest, line.columns));
      canvas.Text(row, line.column, part, Style::hot, line.EndColumn());
    }
    return;
  }
  const bool together = area.rows < 4;
  for (std::size_t i = 0; i < client::allStreams.size(); ++i) {
    const int part = line.columns / 3;
    const auto place = static_cast<int>(i);
    const Area cell = together ? Area{line.row, line.column + place * part, 1, part - 1}
                               : Area{line.row + place, line.column, 1, line.columns};
    drawStream(canvas, cell, client::allStreams.at(i), board, now, together);
  }
}

}  // namespace corvalux::monitor
