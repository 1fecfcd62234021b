#include "monitor/Run.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "client/Feed.h"
#include "monitor/Relay.h"
#include "monitor/Watch.h"
#include "monitor/model/Board.h"
#include "monitor/output/FirstMessages.h"
#include "monitor/output/JsonLines.h"
#include "monitor/output/Notes.h"
#include "monitor/output/Recorder.h"
#include "monitor/screen/Terminal.h"
#include "monitor/screen/View.h"
#include "monitor/text/Columns.h"

namespace corvalux::monitor {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds frame{40};
constexpr double firstMessagesSeconds = 5;
/// No extra descriptor.
constexpr pollfd nothing{-1, 0, 0};
/// Even without requested events, poll reports that a pipe's reader has closed it.
constexpr pollfd output{STDOUT_FILENO, 0, 0};

/// What all modes share. Outputs must be created before it.
class Run {
 public:
  Run(const Options& options, const program::StopSignals& signals, Ending& ending,
      std::vector<client::Listener*> outputs)
      : relay(WithRecorder(options, ending, std::move(outputs)), ending, options.count),
        watch(options, signals, ending, relay),
        feed(std::in_place, client::FeedSettings{options.address, options.streams, options.reconnect}, relay) {}

  Watch& Watching() { return watch; }

  /// Ends the feed and the recording. Returns the exit code: `code`, unless the recording is incomplete.
  ExitCode Finish(ExitCode code) {
    feed.reset();
    return recorder && !recorder->Finish() ? ExitCode::outputFailed : code;
  }

  ExitCode FinishAtEnd(pollfd extra) { return Finish(watch.WaitForEnd(extra)); }

 private:
  std::vector<client::Listener*> WithRecorder(const Options& options, Ending& ending,
                                              std::vector<client::Listener*> outputs) {
    if (options.record.empty()) return outputs;
    recorder.emplace(options.record, options.address, ending);
    outputs.push_back(&*recorder);
    return outputs;
  }

  std::optional<Recorder> recorder;
  Relay relay;
  Watch watch;
  std::optional<client::Feed> feed;
};

/// Waits for the first messages, for a limited time.
ExitCode runUntilFirst(Options options, const program::StopSignals& signals, Ending& ending, FirstMessages& messages) {
  if (!options.seconds) options.seconds = firstMessagesSeconds;
  options.count.reset();
  Run run(options, signals, ending, {&messages});
  return run.FinishAtEnd(nothing);
}

/// Throws std::runtime_error when the output cannot be written; a closed pipe is not an error.
void print(const std::string& text) {
  if (std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0) return;
  if (errno != EPIPE) {
    throw std::runtime_error("the output cannot be written: " + std::generic_category().message(errno));
  }
}

}  // namespace

ExitCode runJson(const Options& options, const program::StopSignals& signals) {
  Ending ending;
  Notes notes(options.address);
  JsonLines lines(STDOUT_FILENO, ending);
  Run run(options, signals, ending, {&notes, &lines});
  return run.FinishAtEnd(output);
}

ExitCode runTable(const Options& options, const program::StopSignals& signals) {
  Ending ending;
  FirstMessages messages(options.address, options.streams, ending);
  const ExitCode code = messages.Result(runUntilFirst(options, signals, ending, messages));
  useUtf8();
  print(messages.Table());
  if (code != ExitCode::endedByYou) std::fprintf(stderr, "corvalux-monitor: %s\n", messages.Report().c_str());
  return code;
}

ExitCode runCheck(const Options& options, const program::StopSignals& signals) {
  Ending ending;
  FirstMessages messages(options.address, options.streams, ending);
  const ExitCode code = messages.Result(runUntilFirst(options, signals, ending, messages));
  print(messages.Report() + "\n");
  return code;
}

ExitCode runScreen(const Options& options, const program::StopSignals& signals) {
  Ending ending;
  Inbox inbox;
  Board board(options.address);
  Ui ui;
  useUtf8();
  Terminal terminal;
  Run run(options, signals, ending, {&inbox});
  const pollfd keys{isatty(STDIN_FILENO) == 1 ? STDIN_FILENO : -1, POLLIN, 0};
  while (true) {
    if (const auto code = run.Watching().Wait(keys, frame)) return run.Finish(*code);
    while (const auto input = terminal.Next()) ui.Take(*input);
    if (ui.Quit()) ending.Set(ExitCode::endedByYou);
    if (ui.TakeReset()) board.ResetHolds();
    // While paused, meters and changes wait in the inbox; the streams' statistics go on.
    board.Take(ui.Paused() ? inbox.Peek() : inbox.Collect(), Clock::now());
    Canvas canvas(terminal.Rows(), terminal.Columns());
    draw(canvas, board, ui, Clock::now());
    terminal.Show(canvas);
  }
}

}  // namespace corvalux::monitor
