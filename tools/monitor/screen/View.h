#pragma once

#include <chrono>

#include "monitor/model/Board.h"
#include "monitor/screen/Canvas.h"
#include "monitor/screen/Ui.h"

namespace corvalux::monitor {

/// Where the panels stand on a screen of this size; panels without room have no rows.
struct Layout {
  Area header;
  Area meters;
  Area spectra;
  Area values;
  Area changes;
  Area footer;
};

/// Beneath each other on a narrow screen, the lists beside the meters on a wide one.
Layout layoutOf(int rows, int columns, const Board& board, const Ui& ui);

/// Draws everything, as much of it as the canvas has room for.
void draw(Canvas& canvas, const Board& board, Ui& ui, std::chrono::steady_clock::time_point now);

}  // namespace corvalux::monitor
