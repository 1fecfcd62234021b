#include "monitor/screen/Bar.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "monitor/model/Scale.h"

namespace corvalux::monitor {

namespace {

constexpr double hotDb = -3;
constexpr double warmDb = -12;

/// The style of a position on the scale, 0 to 1.
Style zoneOf(double place) {
  static const double hot = deflection(hotDb);
  static const double warm = deflection(warmDb);
  return place >= hot ? Style::hot : place >= warm ? Style::warm : Style::good;
}

/// A cell that is filled from the left, in eighths; a space for none.
char32_t eighths(double part) {
  static constexpr std::array<char32_t, 9> glyphs = {U' ', U'▏', U'▎', U'▍', U'▌', U'▋', U'▊', U'▉', U'█'};
  return glyphs.at(static_cast<std::size_t>(std::lround(std::clamp(part, 0.0, 1.0) * 8)));
}

}  // namespace

Style styleOf(double db) { return db >= hotDb ? Style::hot : db >= warmDb ? Style::warm : Style::good; }

void drawBar(Canvas& canvas, int row, int column, int end, const BarLevels& levels) {
  const double width = end - column;
  const double solid = deflection(levels.rms) * width;
  const double light = deflection(levels.peak) * width;
  for (int i = 0; i < end - column; ++i) {
    const Style zone = zoneOf((i + 0.5) / width);
    const double part = solid - i;
    char32_t glyph = part >= 1 ? U'█' : light - i >= 0.5 ? U'▒' : part > 0 ? eighths(part) : U' ';
    canvas.Put(row, column + i, glyph == U' ' ? U'·' : glyph, glyph == U' ' ? Style::faint : zone);
  }
  const double hold = deflection(levels.hold) * width;
  if (hold <= 0) return;
  const int place = std::min(static_cast<int>(hold), end - column - 1);
  canvas.Put(row, column + place, U'┃', styleOf(levels.hold));
}

void drawScale(Canvas& canvas, int row, int column, int end) {
  int free = column;
  for (const int db : {-60, -50, -40, -30, -20, -12, -6, -3, 0}) {
    const std::string text = std::to_string(db);
    const int place = column + static_cast<int>(deflection(db) * (end - column));
    const int begin = db == 0 ? end - 1 : place - static_cast<int>(text.size()) / 2;
    if (begin < free || begin + static_cast<int>(text.size()) > (db == 0 ? end : end - 2)) continue;
    free = canvas.Text(row, begin, text, Style::faint, end) + 1;
  }
}

}  // namespace corvalux::monitor
