#include "gateway/service/Log.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "client/Utf8.h"

namespace corvalux::gateway {

namespace {

constexpr double burst = 5;
constexpr double linesPerSecond = 0.1;

}  // namespace

void Log::Warning(const std::string& topic, const std::string& text, Clock::time_point now) {
  if (topics.size() >= topicsLimit && !topics.contains(topic)) topics.clear();
  Topic& of = topics.try_emplace(topic, Topic{burst, now, 0}).first->second;
  const double passed = std::chrono::duration<double>(now - of.renewed).count();
  of.allowance = std::min(of.allowance + passed * linesPerSecond, burst);
  of.renewed = now;
  if (of.allowance < 1) {
    ++of.leftOut;
    return;
  }
  of.allowance -= 1;
  Write(4, text + (of.leftOut > 0 ? " (and " + std::to_string(of.leftOut) + " more like this)" : ""));
  of.leftOut = 0;
}

/// One write a line, so that lines never mix. What devices and clients send must not steer a terminal.
void Log::Write(int priority, const std::string& text) {
  static const bool journal = std::getenv("JOURNAL_STREAM") != nullptr;
  std::string line = journal ? "<" + std::to_string(priority) + ">" : "corvalux-gateway: ";
  line += client::printable(text) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace corvalux::gateway
