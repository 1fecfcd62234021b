#include "sim/Log.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include "corvalux/host.h"

namespace sim {

namespace {

std::mutex sinkMutex;
/// Guarded by sinkMutex. Never destroyed: a module may log until the process ends.
LogSink& logSink = *new LogSink;

std::string render(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  std::string text(length < 0 ? 0 : static_cast<std::size_t>(length), '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  return text;
}

}  // namespace

void setLogSink(LogSink sink) {
  const std::lock_guard lock(sinkMutex);
  logSink = std::move(sink);
}

}  // namespace sim

void corvalux_log(int32_t level, const char* file, int32_t line, int32_t flag, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  sim::LogLine logLine{level, file, line, flag, format, sim::render(format, arguments)};
  va_end(arguments);
  const std::lock_guard lock(sim::sinkMutex);
  if (sim::logSink) sim::logSink(logLine);
}
