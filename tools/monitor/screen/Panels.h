#pragma once

#include <chrono>

#include "monitor/model/Board.h"
#include "monitor/screen/Area.h"
#include "monitor/screen/Canvas.h"
#include "monitor/screen/Ui.h"

namespace corvalux::monitor {

/// The pieces of the screen. Each draws into its area only, and shows as much as fits.

/// Address and state, and a row for what the streams do: as many rows as the area has.
void drawHeader(Canvas& canvas, const Area& area, const Board& board, const Ui& ui,
                std::chrono::steady_clock::time_point now);
/// The meter bridge: a row for each strip with a level, by groups.
void drawMeters(Canvas& canvas, const Area& area, const Board& board, Ui& ui);
/// The arrays of levels as charts, as many as there is room for.
void drawSpectra(Canvas& canvas, const Area& area, const Board& board, const Ui& ui);
/// All other values, in columns.
void drawValues(Canvas& canvas, const Area& area, const Board& board, Ui& ui);
/// What changed, the newest first.
void drawChanges(Canvas& canvas, const Area& area, const Board& board, Ui& ui);
/// The keys; or what is being typed.
void drawFooter(Canvas& canvas, const Area& area, const Ui& ui);
/// A box in the middle of the screen.
void drawHelp(Canvas& canvas);

/// The title row of a panel, with the part of its items that is seen.
void drawTitle(Canvas& canvas, const Area& area, const std::string& title, const Ui& ui, Panel panel,
               const Ui::Place& place, int first);

/// How many rows the meters and the values take when there is room for all.
int metersRows(const Board& board, const Ui& ui);
int valuesRows(const Board& board, const Ui& ui, int columns);

}  // namespace corvalux::monitor
