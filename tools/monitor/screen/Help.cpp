#include <algorithm>
#include <array>

#include "monitor/screen/Panels.h"
#include "monitor/text/Columns.h"

namespace corvalux::monitor {

namespace {

struct HelpLine {
  const char* key;
  const char* effect;
};

constexpr std::array<HelpLine, 12> helpLines = {{{"q", "leave"},
                                                 {"space, p", "pause and go on"},
                                                 {"/", "show only keys that contain a text"},
                                                 {"Esc", "show all keys again"},
                                                 {"Tab, click", "choose a panel"},
                                                 {"arrows, wheel", "scroll it"},
                                                 {"r", "forget the held peaks"},
                                                 {"?", "this help"},
                                                 {"", ""},
                                                 {"█", "RMS    ▒ peak    ┃ held peak"},
                                                 {"missed", "skipped, or lost on the way"},
                                                 {"±", "jitter of the arrival"}}};

}  // namespace

void drawFooter(Canvas& canvas, const Area& area, const Ui& ui) {
  int column = area.column + 1;
  if (ui.Typing()) {
    column = canvas.Text(area.row, column, "show keys with: " + ui.Filter(), Style::strong, area.EndColumn() - 1);
    canvas.Put(area.row, column, U' ', Style::selected);
    return;
  }
  if (!ui.Filter().empty()) {
    canvas.Text(area.row, column, "only '" + ui.Filter() + "'   Esc: show all", Style::strong, area.EndColumn());
    return;
  }
  for (const HelpLine& hint : std::array<HelpLine, 5>{
           {{"q", "leave"}, {"space", "pause"}, {"/", "filter"}, {"Tab", "panel"}, {"?", "help"}}}) {
    if (column + widthOf(hint.key) + 1 + widthOf(hint.effect) > area.EndColumn()) return;
    column = canvas.Text(area.row, column, hint.key, Style::strong) + 1;
    column = canvas.Text(area.row, column, hint.effect, Style::faint) + 3;
  }
}

void drawHelp(Canvas& canvas) {
  const int width = std::min(canvas.Columns(), 54);
  const int rows = static_cast<int>(helpLines.size()) + 2;
  const int top = std::max(0, (canvas.Rows() - rows) / 2);
  const int left = (canvas.Columns() - width) / 2;
  for (int i = 0; i < rows; ++i) {
    const bool edge = i == 0 || i == rows - 1;
    canvas.Fill(top + i, left, left + width, Style::plain, edge ? U'─' : U' ');
    canvas.Put(top + i, left, i == 0 ? U'╭' : edge ? U'╰' : U'│', Style::plain);
    canvas.Put(top + i, left + width - 1, i == 0 ? U'╮' : edge ? U'╯' : U'│', Style::plain);
    if (edge) continue;
    const HelpLine& line = helpLines.at(static_cast<std::size_t>(i - 1));
    canvas.Text(top + i, left + 2, line.key, Style::strong, left + width - 1);
    canvas.Text(top + i, left + 17, line.effect, Style::plain, left + width - 1);
  }
  canvas.Text(top, left + 2, " corvalux-monitor ", Style::strong, left + width - 1);
}

}  // namespace corvalux::monitor
