#include "monitor/output/FirstMessages.h"

#include <algorithm>
#include <utility>

#include "client/Utf8.h"
#include "monitor/text/Columns.h"
#include "monitor/text/Sentences.h"
#include "monitor/text/Text.h"

namespace corvalux::monitor {

namespace {

std::string padded(const std::string& text, int width) {
  return text + std::string(static_cast<std::size_t>(std::max(0, width - widthOf(text))), ' ');
}

/// A line of the table: an entry of a stream.
std::string lineOf(const std::string& stream, const std::string& key, const std::string& kind, const std::string& value,
                   int keyWidth) {
  return padded(stream, 8) + " " + padded(key, keyWidth) + "  " + padded(kind, 11) + "  " + value + "\n";
}

}  // namespace

FirstMessages::FirstMessages(std::string address, std::vector<client::Stream> streams, Ending& ending)
    : address(std::move(address)),
      streams(std::move(streams)),
      ending(ending),
      start(std::chrono::steady_clock::now()) {}

void FirstMessages::Take(client::Message message) {
  const std::lock_guard lock(mutex);
  auto& first = messages.at(indexOf(message.stream));
  if (message.valid && !first) first = std::move(message);
  Look();
}

void FirstMessages::Change(const client::ConnectionState& newState) {
  const std::lock_guard lock(mutex);
  state = newState;
  if (!state.reason.empty())
    problem =
        sentenceOf({client::ConnectionState::Phase::ended, state.reason, {}, state.hadConnection, false}, address);
  Look();
}

/// Once complete, it stays so, even if the connection is lost before the program has ended.
void FirstMessages::Look() {
  if (state.phase != client::ConnectionState::Phase::connected) return;
  complete = std::all_of(streams.begin(), streams.end(), [this](client::Stream stream) {
    return stream == client::Stream::changes || messages.at(indexOf(stream));
  });
  if (complete) ending.Set(ExitCode::endedByYou);
}

ExitCode FirstMessages::Result(ExitCode code) const {
  const std::lock_guard lock(mutex);
  return code == ExitCode::endedByYou && !complete ? ExitCode::silent : code;
}

std::string FirstMessages::Table() const {
  const std::lock_guard lock(mutex);
  int keyWidth = 3;
  for (const auto& message : messages) {
    if (!message) continue;
    for (const client::Entry& entry : message->entries) keyWidth = std::max(keyWidth, widthOf(entry.key));
  }
  std::string table = lineOf("stream", "key", "kind", "value", keyWidth);
  for (const auto& message : messages) {
    if (!message) continue;
    for (const client::Entry& entry : message->entries) {
      table += lineOf(nameOf(message->stream), client::printable(entry.key), client::kindName(entry.value),
                      client::describe(entry.value), keyWidth);
    }
  }
  return table;
}

std::string FirstMessages::Report() const { return client::printable(Finding()); }

std::string FirstMessages::Finding() const {
  const std::lock_guard lock(mutex);
  if (!state.everConnected) return "FAILED " + (problem.empty() ? address + ": no answer" : problem);
  if (!complete && state.phase != client::ConnectionState::Phase::connected) return "FAILED " + problem;
  std::string report;
  for (const client::Stream stream : streams) {
    const auto& message = messages.at(indexOf(stream));
    if (!message && stream == client::Stream::changes) continue;
    report += (report.empty() ? "" : ", ") + std::string(nameOf(stream)) +
              (message ? " after " + durationText(message->arrival.steady - start) : " silent");
  }
  return (complete ? "OK " : "FAILED ") + address + ": " + (report.empty() ? "connected" : report);
}

}  // namespace corvalux::monitor
