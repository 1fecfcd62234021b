#include "support/CapturedLog.h"

#include <algorithm>

#include "support/Deadline.h"

namespace test {

CapturedLog::CapturedLog() {
  sim::setLogSink([this](const sim::LogLine& line) {
    const std::lock_guard lock(mutex);
    lines.push_back(line);
    grown.notify_all();
  });
}

CapturedLog::~CapturedLog() { sim::setLogSink({}); }

std::vector<sim::LogLine> CapturedLog::Lines() const {
  const std::lock_guard lock(mutex);
  return lines;
}

std::vector<std::string> CapturedLog::Texts() const {
  const std::lock_guard lock(mutex);
  std::vector<std::string> texts;
  for (const sim::LogLine& line : lines) texts.push_back(std::to_string(line.level) + " " + line.text);
  return texts;
}

std::size_t CapturedLog::CountLocked(const std::function<bool(const sim::LogLine&)>& matches) const {
  return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), matches));
}

std::size_t CapturedLog::Count(int level, const std::string& part) const {
  const std::lock_guard lock(mutex);
  return CountLocked(
      [&](const auto& line) { return line.level == level && line.text.find(part) != std::string::npos; });
}

bool CapturedLog::WaitFor(const std::string& part, std::size_t count) const {
  const auto contains = [&](const auto& line) { return line.text.find(part) != std::string::npos; };
  std::unique_lock lock(mutex);
  return grown.wait_for(lock, patience, [&] { return CountLocked(contains) >= count; });
}

void CapturedLog::Clear() {
  const std::lock_guard lock(mutex);
  lines = decltype(lines)();  // not {}: that keeps the memory, which tests count
}

}  // namespace test
