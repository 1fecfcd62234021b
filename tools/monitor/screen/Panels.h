#pragma once

#include <chrono>

#include "monitor/model/Board.h"
#include "monitor/screen/Area.h"
#include "monitor/screen/Canvas.h"
#include "monitor/screen/Ui.h"

namespace corvalux::monitor {

/// The parts of the screen. Each draws into its area only, as much as fits.

/// Address and state, and the streams' statistics: as many rows as the area has.
void drawHeader(Canvas& canvas, const Area& area, const Board& board, const Ui& ui,
                std::chrono::steady_clock::time_point now);
/// The meter bridge: a row for each strip with a level, by groups.
void drawMeters(Canvas& canvas, const Area& area, const Board& board, Ui& ui);
/// The arrays of levels as charts, as many as fit.
void drawSpectra(Canvas& canvas, const Area& area, const Board& board, const Ui& ui);
/// All other values, in columns.
void drawValues(Canvas& canvas, const Area& area, const Board& board, Ui& ui);
/// What changed, the newest first.
void drawChanges(Canvas& canvas, const Area& area, const Board& board, Ui& ui);
/// The keys, or the text being typed.
void drawFooter(Canvas& canvas, const Area& area, const Ui& ui);
/// A box in the middle of the screen.
void drawHelp(Canvas& canvas);

/// The title row of a panel, with the range of visible items.
void drawTitle(Canvas& canvas, const Area& area, const std::string& title, const Ui& ui, Panel panel,
               const Ui::Place& place, int first);

/// How many rows the meters and the values need to show all.
int metersRows(const Board& board, const Ui& ui);
int valuesRows(const Board& board, const Ui& ui, int columns);

}  // namespace corvalux::monitor
