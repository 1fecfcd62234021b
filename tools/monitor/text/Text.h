#pragma once

#include <chrono>
#include <string>

namespace corvalux::monitor {

/// "20:15:03", by the clock of this machine.
std::string clockText(std::chrono::system_clock::time_point time);
/// "12.3 kB".
std::string bytesText(double bytes);
/// "20 ms", "1.5 s", "3 min".
std::string durationText(std::chrono::steady_clock::duration time);
/// With a fixed number of decimals.
std::string decimal(double number, int decimals);

}  // namespace corvalux::monitor
