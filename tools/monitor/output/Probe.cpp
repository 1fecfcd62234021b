#include "monitor/output/Probe.h"

#include <algorithm>
#include <utility>

#include "monitor/output/Notes.h"
#include "monitor/screen/Canvas.h"
#include "monitor/screen/Text.h"

namespace monitor {

namespace {

std::string padded(const std::string& text, int width) {
  return text + std::string(static_cast<std::size_t>(std::max(0, width - widthOf(text))), ' ');
}

/// In the order of the streams: a table's line is a stream's entry.
std::string lineOf(const std::string& stream, const std::string& key, const std::string& kind, const std::string& value,
                   int keyWidth) {
  return padded(stream, 8) + " " + padded(key, keyWidth) + "  " + padded(kind, 11) + "  " + value + "\n";
}

}  // namespace

Probe::Probe(std::string address, std::vector<Stream> streams, Ending& ending)
    : address(std::move(address)),
      streams(std::move(streams)),
      ending(ending),
      start(std::chrono::steady_clock::now()) {}

void Probe::Take(Message message) {
  const std::lock_guard lock(mutex);
  auto& first = messages.at(indexOf(message.stream));
  if (message.valid && !first) first = std::move(message);
  Look();
}

void Probe::Change(const ConnectionState& newState) {
  const std::lock_guard lock(mutex);
  state = newState;
  if (!state.reason.empty())
    problem = sentenceOf({ConnectionState::Phase::ended, state.reason, {}, state.hadConnection, false}, address);
  Look();
}

/// What is complete stays so, although the device may leave before the program has ended.
void Probe::Look() {
  if (state.phase != ConnectionState::Phase::connected) return;
  complete = std::all_of(streams.begin(), streams.end(),
                         [this](Stream stream) { return stream == Stream::changes || messages.at(indexOf(stream)); });
  if (complete) ending.Set(ExitCode::endedByYou);
}

ExitCode Probe::Result(ExitCode code) const {
  const std::lock_guard lock(mutex);
  return code == ExitCode::endedByYou && !complete ? ExitCode::silent : code;
}

std::string Probe::Table() const {
  const std::lock_guard lock(mutex);
  int keyWidth = 3;
  for (const auto& message : messages) {
    if (!message) continue;
    for (const Entry& entry : message->entries) keyWidth = std::max(keyWidth, widthOf(entry.key));
  }
  std::string table = lineOf("stream", "key", "kind", "value", keyWidth);
  for (const auto& message : messages) {
    if (!message) continue;
    for (const Entry& entry : message->entries) {
      table +=
          lineOf(nameOf(message->stream), printable(entry.key), kindName(entry.value), describe(entry.value), keyWidth);
    }
  }
  return table;
}

std::string Probe::Report() const { return printable(Finding()); }

std::string Probe::Finding() const {
  const std::lock_guard lock(mutex);
  if (!state.everConnected) return "FAILED " + (problem.empty() ? address + ": no answer" : problem);
  if (!complete && state.phase != ConnectionState::Phase::connected) return "FAILED " + problem;
  std::string report;
  for (const Stream stream : streams) {
    const auto& message = messages.at(indexOf(stream));
    if (!message && stream == Stream::changes) continue;
    report += (report.empty() ? "" : ", ") + std::string(nameOf(stream)) +
              (message ? " after " + durationText(message->arrival.steady - start) : " silent");
  }
  return (complete ? "OK " : "FAILED ") + address + ": " + (report.empty() ? "connected" : report);
}

}  // namespace monitor
