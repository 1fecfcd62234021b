#pragma once

namespace corvalux::monitor {

/// dBFS. What is lower is shown as silence.
constexpr double floorDb = -120;

/// Where a level stands on a meter, 0 to 1: the scale of a peak programme meter, which gives the top 20 dB half of it.
/// Full from 0 dB on, empty below -70 dB and for what is not a number.
double deflection(double db);

/// Where a level of a band stands, 0 to 1: even steps, since bands are far lower than the whole. Empty from -80 dB
/// down.
double bandDeflection(double db);

}  // namespace corvalux::monitor
