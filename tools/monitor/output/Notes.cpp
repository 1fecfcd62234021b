#include "monitor/output/Notes.h"

#include <cstdio>

namespace monitor {

namespace {

void say(const std::string& sentence) { std::fprintf(stderr, "corvalux-monitor: %s\n", printable(sentence).c_str()); }

std::string secondsText(std::chrono::milliseconds time) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f s", static_cast<double>(time.count()) / 1000);
  return text;
}

}  // namespace

std::string sentenceOf(const ConnectionState& state, const std::string& address) {
  std::string problem = (state.hadConnection ? "lost " : "cannot reach ") + address + ": " + state.reason;
  switch (state.phase) {
    case ConnectionState::Phase::connecting: return "connecting to " + address;
    case ConnectionState::Phase::connected: return "connected to " + address;
    case ConnectionState::Phase::waiting: return problem + "; trying again in " + secondsText(state.delay);
    case ConnectionState::Phase::ended: break;
  }
  return problem;
}

void Notes::Take(Message message) {
  if (message.valid) return;
  const std::lock_guard lock(mutex);
  Rejections& rejected = rejections.at(indexOf(message.stream));
  ++rejected.count;
  if (rejected.count > 1 && message.arrival.steady - rejected.reported < std::chrono::seconds(1)) return;
  rejected.reported = message.arrival.steady;
  say("rejected a message of the stream '" + std::string(nameOf(message.stream)) + "' (" +
      std::to_string(message.bytes.size()) + " bytes, " + std::to_string(rejected.count) +
      " so far): a text in it is not UTF-8, or it is damaged");
}

void Notes::Change(const ConnectionState& state) { say(sentenceOf(state, address)); }

}  // namespace monitor
