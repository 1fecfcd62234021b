#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace sim {

/// One line that a module wrote.
struct LogLine {
  int32_t level;
  std::string file;
  int32_t line;
  int32_t flag;
  std::string format;
  std::string text;  ///< the format with its arguments
};

/// Receives log lines one at a time, on the thread that writes them. Must not log itself.
using LogSink = std::function<void(const LogLine&)>;

/// Sends all further lines of the process to `sink`; an empty one drops them. Returns when no call of the old sink is
/// running. Thread-safe.
void setLogSink(LogSink sink);

}  // namespace sim
