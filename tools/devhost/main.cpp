// The development host: plays the engine for a module, so that the module can be seen at work.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>

#include "devhost/Configuration.h"
#include "devhost/ListenCheck.h"
#include "devhost/LogPrinter.h"
#include "devhost/Options.h"
#include "devhost/Player.h"
#include "devhost/Statistics.h"
#include "devhost/StopSignals.h"
#include "devhost/replay/Replay.h"
#include "devhost/replay/Tape.h"
#include "engine/Engine.h"
#include "engine/Instance.h"
#include "engine/LoadedModule.h"
#include "engine/Misuse.h"

namespace devhost {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

void complain(const std::string& sentence) { std::fprintf(stderr, "corvalux-devhost: %s\n", sentence.c_str()); }

/// At once, even into a pipe: scripts wait for these lines.
void announce(const Options& options, const std::string& line) {
  if (options.quiet) return;
  std::printf("%s\n", line.c_str());
  std::fflush(stdout);
}

std::optional<Clock::time_point> endOf(const Options& options) {
  if (!options.seconds) return std::nullopt;
  return Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(*options.seconds));
}

bool withIntervals(const Options& options) { return options.stats && !options.quiet; }

void waitForEnd(const Options& options, const StopSignals& stopSignals, Statistics& statistics) {
  const auto end = endOf(options);
  if (!withIntervals(options)) {
    stopSignals.WaitUntil(end);
    return;
  }
  for (auto next = Clock::now() + 1s; !stopSignals.WaitUntil(end ? std::min(*end, next) : next); next += 1s) {
    if (end && Clock::now() >= *end) return;
    announce(options, statistics.TakeInterval());
  }
}

/// Says what the module did wrong, and how often it did.
std::size_t complainAboutMisuse(const sim::Engine& engine) {
  auto reports = sim::takeMisuse();
  if (engine.Registrations() > 0) reports.emplace_back("callback still registered after stop");
  for (const std::string& report : reports) complain("misuse of the host's interface: " + report);
  return reports.size();
}

std::string summary(Clock::duration time, const Statistics& statistics, std::size_t misuses) {
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%.1f", std::chrono::duration<double>(time).count());
  return "stopped after " + std::string(seconds) + " s: " + statistics.Summary() + "; " +
         (misuses == 0 ? "no" : std::to_string(misuses)) + (misuses == 1 ? " misuse" : " misuses") +
         " of the host's interface";
}

std::string describe(const ReplayOptions& options) {
  char pace[32];
  std::snprintf(pace, sizeof pace, "%g", options.pace);
  return "replays " + options.file + " at " + pace + (options.loop ? " times its pace, in a loop" : " times its pace");
}

/// Feeds the engine until the end that the options ask for, and stops the instance. Events go on while the module
/// stops, as in an engine.
void play(const Options& options, const StopSignals& stopSignals, sim::Engine& engine, sim::Instance& instance,
          replay::Tape* tape, Statistics& statistics) {
  std::optional<Player> player;
  std::optional<replay::Replay> replay;
  if (tape) {
    announce(options, describe(options.replay));
    replay.emplace(engine, *tape, options.replay.pace, StopSignals::Raise);
  } else {
    player.emplace(engine, options.mixer, options.misbehaviours);
  }
  waitForEnd(options, stopSignals, statistics);
  instance.Stop();
}

ExitCode refuse(const std::string& address, sim::Instance& instance, const sim::Engine& engine) {
  instance.Stop();
  const std::size_t misuses = complainAboutMisuse(engine);
  complain("the module refused to start on '" + address + "'; its log lines say why");
  return misuses > 0 ? ExitCode::misuse : ExitCode::notStarted;
}

ExitCode run(const Options& options, const StopSignals& stopSignals, replay::Tape* tape) {
  const sim::LoadedModule module(options.module);
  sim::Engine engine;
  Statistics statistics(withIntervals(options));
  engine.SetCallObserver([&](sim::Event event, auto duration) { statistics.Add(event, duration); });
  sim::Instance instance(module.Entry(), engine, module.Name());
  const std::string address = serverUrlOf(options.config);
  for (const std::string& taken : takenAddresses(address)) {
    complain("something listens on " + taken + " already; clients may reach that instead");
  }
  if (instance.Start(options.config) != 0) return refuse(address, instance, engine);
  announce(options, module.Name() + " " + module.Version() + " serves " + address + "; stop it with Ctrl-C");
  const auto begin = Clock::now();
  play(options, stopSignals, engine, instance, tape, statistics);
  const std::size_t misuses = complainAboutMisuse(engine);
  announce(options, summary(Clock::now() - begin, statistics, misuses));
  const bool cutShort = tape && !tape->Failure().empty();
  if (cutShort) complain(tape->Failure());
  if (misuses > 0) return ExitCode::misuse;
  return cutShort ? ExitCode::notReplayed : ExitCode::success;
}

/// Looks at the recording before the module is touched.
ExitCode runReplay(const Options& options, const StopSignals& stopSignals) {
  std::optional<replay::Tape> tape;
  try {
    tape.emplace(options.replay.file, options.replay.loop);
  } catch (const std::runtime_error& error) {
    complain(error.what());
    return ExitCode::notReplayed;
  }
  return run(options, stopSignals, &*tape);
}

}  // namespace

}  // namespace devhost

int main(int argc, char** argv) {
  using devhost::ExitCode;
  const devhost::StopSignals stopSignals;
  try {
    const auto parsed = devhost::parse(argc, argv);
    if (const auto* code = std::get_if<ExitCode>(&parsed)) return static_cast<int>(*code);
    const auto& options = std::get<devhost::Options>(parsed);
    const devhost::LogPrinter logPrinter(options.logLevel);
    const bool replays = !options.replay.file.empty();
    return static_cast<int>(replays ? devhost::runReplay(options, stopSignals)
                                    : devhost::run(options, stopSignals, nullptr));
  } catch (const std::exception& error) {
    devhost::complain(error.what());
    return static_cast<int>(ExitCode::notLoaded);
  }
}
