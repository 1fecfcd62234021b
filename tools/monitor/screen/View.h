#pragma once

#include <chrono>

#include "monitor/model/Board.h"
#include "monitor/screen/Canvas.h"
#include "monitor/screen/Ui.h"

namespace corvalux::monitor {

/// Where the panels are on a screen of this size; panels that do not fit have no rows.
struct Layout {
  Area header;
  Area meters;
  Area spectra;
  Area values;
  Area changes;
  Area footer;
};

/// Stacked on a narrow screen, the lists beside the meters on a wide one.
Layout layoutOf(int rows, int columns, const Board& board, const Ui& ui);

/// Draws everything, as much as fits on the canvas.
void draw(Canvas& canvas, const Board& board, Ui& ui, std::chrono::steady_clock::time_point now);

}  // namespace corvalux::monitor
