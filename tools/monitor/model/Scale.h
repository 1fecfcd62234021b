#pragma once

namespace corvalux::monitor {

/// dBFS. Lower levels are shown as silence.
constexpr double floorDb = -120;

/// A level's position on a meter, 0 to 1: the scale of a peak programme meter, half of which is the top 20 dB. Full
/// from 0 dB on, empty below -70 dB and for NaN.
double deflection(double db);

/// A band level's position, 0 to 1: linear in dB, because bands are far lower than the whole. Empty from -80 dB down.
double bandDeflection(double db);

}  // namespace corvalux::monitor
