#pragma once

#include <vector>

#include "monitor/screen/Canvas.h"

namespace corvalux::monitor {

/// True if the numbers can be levels in dBFS: none far above 0, and some well below.
bool areLevels(const std::vector<float>& numbers);

/// A small spectrum in a row: a column for each number, or for the highest of several neighbours. Levels on the bands'
/// scale, other numbers between their highest and 0 or their lowest. Returns the column after it.
int drawSpark(Canvas& canvas, int row, int column, int end, const std::vector<float>& numbers);

}  // namespace corvalux::monitor
