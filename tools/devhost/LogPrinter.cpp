#include "devhost/LogPrinter.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <stdexcept>

namespace corvalux::devhost {

namespace {

constexpr std::array<const char*, 4> levelNames = {"detail", "lifecycle", "warning", "error"};

std::string nameOf(int level) {
  if (level < 1 || level > static_cast<int>(levelNames.size())) return "level " + std::to_string(level);
  return levelNames[static_cast<std::size_t>(level - 1)];
}

std::string timeOfDay() {
  const auto now = std::chrono::system_clock::now();
  const auto milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  std::tm local{};
  localtime_r(&seconds, &local);
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
                static_cast<int>(milliseconds));
  return text;
}

}  // namespace

int levelOf(const std::string& nameOrNumber) {
  for (std::size_t i = 0; i < levelNames.size(); ++i) {
    if (nameOrNumber == levelNames[i] || nameOrNumber == std::to_string(i + 1)) return static_cast<int>(i + 1);
  }
  throw std::invalid_argument("'" + nameOrNumber +
                              "' is no level; levels are detail, lifecycle, warning, error, 1 to 4");
}

std::string printed(const sim::LogLine& line) {
  std::string level = nameOf(line.level);
  level.resize(std::max<std::size_t>(level.size(), 9), ' ');
  return timeOfDay() + " " + level + " " + line.file + ":" + std::to_string(line.line) + ": " + line.text;
}

LogPrinter::LogPrinter(int level) {
  sim::setLogSink([level](const sim::LogLine& line) {
    if (line.level >= level) std::fputs((printed(line) + "\n").c_str(), stderr);
  });
}

LogPrinter::~LogPrinter() { sim::setLogSink({}); }

}  // namespace corvalux::devhost
