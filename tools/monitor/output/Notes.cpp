#include "monitor/output/Notes.h"

#include <cstdio>

#include "client/Utf8.h"
#include "monitor/text/Sentences.h"

namespace corvalux::monitor {

namespace {

void say(const std::string& sentence) {
  std::fprintf(stderr, "corvalux-monitor: %s\n", client::printable(sentence).c_str());
}

}  // namespace

bool Notes::Count::Add(uint64_t more, std::chrono::steady_clock::time_point now) {
  const bool first = number == 0;
  number += more;
  if (!first && now - reported < std::chrono::seconds(1)) return false;
  reported = now;
  return true;
}

void Notes::Take(client::Message message) {
  if (message.valid && message.repairedTexts == 0) return;
  const std::lock_guard lock(mutex);
  const std::string stream = std::string("the stream '") + nameOf(message.stream) + "'";
  const auto now = message.arrival.steady;
  if (auto& count = rejected.at(indexOf(message.stream)); !message.valid && count.Add(1, now)) {
    say("rejected a message of " + stream + " (" + std::to_string(message.bytes.size()) + " bytes, " +
        std::to_string(count.number) + " so far): it is damaged");
  }
  if (auto& count = repaired.at(indexOf(message.stream)); message.valid && count.Add(message.repairedTexts, now)) {
    say("repaired a text of " + stream + " (" + std::to_string(count.number) + " so far): it is not UTF-8");
  }
}

void Notes::Change(const client::ConnectionState& state) { say(sentenceOf(state, address)); }

}  // namespace corvalux::monitor
