#include "monitor/text/Text.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace corvalux::monitor {

std::string decimal(double number, int decimals) {
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), "%.*f", decimals, number);
  return text.data();
}

std::string clockText(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts{};
  localtime_r(&seconds, &parts);
  std::array<char, 16> text;
  std::strftime(text.data(), text.size(), "%H:%M:%S", &parts);
  return text.data();
}

std::string bytesText(double bytes) {
  if (bytes < 1000) return decimal(bytes, 0) + " B";
  if (bytes < 1e6) return decimal(bytes / 1e3, 1) + " kB";
  return decimal(bytes / 1e6, 1) + " MB";
}

std::string durationText(std::chrono::steady_clock::duration time) {
  const double seconds = std::chrono::duration<double>(time).count();
  if (seconds < 1) return decimal(seconds * 1000, 0) + " ms";
  if (seconds < 60) return decimal(seconds, 1) + " s";
  if (seconds < 3600) return decimal(seconds / 60, 0) + " min";
  return decimal(seconds / 3600, 1) + " h";
}

}  // namespace corvalux::monitor
