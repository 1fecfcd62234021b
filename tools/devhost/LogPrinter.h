#pragma once

#include <string>

#include "sim/Log.h"

namespace corvalux::devhost {

/// Parses a level's name or number; throws std::invalid_argument for any other text.
int levelOf(const std::string& nameOrNumber);

/// A module's log line as it is printed: "12:34:56.789 detail    file:line: text".
std::string printed(const sim::LogLine& line);

/// Prints the process's log lines of a level and above on stderr, for its lifetime. At most one per process.
class LogPrinter {
 public:
  explicit LogPrinter(int level);
  ~LogPrinter();
  LogPrinter(const LogPrinter&) = delete;
  LogPrinter& operator=(const LogPrinter&) = delete;
};

}  // namespace corvalux::devhost
