#pragma once

#include "monitor/screen/Canvas.h"

namespace corvalux::monitor {

struct BarLevels {
  double peak;  ///< dBFS
  double rms;   ///< dBFS
  double hold;  ///< dBFS
};

/// A horizontal meter from `column` to before `end`: solid up to the RMS, lighter up to the peak, a mark at the hold.
void drawBar(Canvas& canvas, int row, int column, int end, const BarLevels& levels);

/// The scale that fits such a meter.
void drawScale(Canvas& canvas, int row, int column, int end);

/// The colour of a level.
Style styleOf(double db);

}  // namespace corvalux::monitor
