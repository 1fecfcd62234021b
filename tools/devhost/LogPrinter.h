#pragma once

#include <string>

#include "sim/Log.h"

namespace corvalux::devhost {

/// A level from its name or number; throws std::invalid_argument for any other text.
int levelOf(const std::string& nameOrNumber);

/// A module's log line as it is printed: "12:34:56.789 detail    file:line: text".
std::string printed(const sim::LogLine& line);

/// Prints the log lines of the process on stderr while it lives, from a level on. One at a time in a process.
class LogPrinter {
 public:
  explicit LogPrinter(int level);
  ~LogPrinter();
  LogPrinter(const LogPrinter&) = delete;
  LogPrinter& operator=(const LogPrinter&) = delete;
};

}  // namespace corvalux::devhost
