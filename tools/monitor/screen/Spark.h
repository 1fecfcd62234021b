#pragma once

#include <vector>

#include "monitor/screen/Canvas.h"

namespace corvalux::monitor {

/// True for what can be levels in dBFS: nothing far above 0, and something well below.
bool areLevels(const std::vector<float>& numbers);

/// A small spectrum in a row: a column for each number, or for the highest of several neighbours. Levels by the bands'
/// scale, other numbers between 0 or their lowest and their highest. Returns the column behind it.
int drawSpark(Canvas& canvas, int row, int column, int end, const std::vector<float>& numbers);

}  // namespace corvalux::monitor
