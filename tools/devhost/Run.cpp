#include "devhost/Run.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>

#include "devhost/CallbackTimes.h"
#include "devhost/Configuration.h"
#include "devhost/ListenCheck.h"
#include "devhost/Report.h"
#include "devhost/Source.h"
#include "sim/Instance.h"
#include "sim/LoadedModule.h"

namespace corvalux::devhost {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using program::StopSignals;

std::optional<Clock::time_point> endOf(const Options& options) {
  if (!options.seconds) return std::nullopt;
  return Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(*options.seconds));
}

bool withIntervals(const Options& options) { return options.stats && !options.quiet; }

void waitForEnd(const Options& options, const StopSignals& stopSignals, CallbackTimes& times) {
  const auto end = endOf(options);
  if (!withIntervals(options)) {
    stopSignals.WaitUntil(end);
    return;
  }
  for (auto next = Clock::now() + 1s; !stopSignals.WaitUntil(end ? std::min(*end, next) : next); next += 1s) {
    if (end && Clock::now() >= *end) return;
    announce(options, times.TakeInterval());
  }
}

std::string summary(Clock::duration time, const CallbackTimes& times, std::size_t misuses) {
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%.1f", std::chrono::duration<double>(time).count());
  return "stopped after " + std::string(seconds) + " s: " + times.Summary() + "; " +
         (misuses == 0 ? "no" : std::to_string(misuses)) + (misuses == 1 ? " misuse" : " misuses") +
         " of the host's interface";
}

void warnOfTaken(const std::string& addresses) {
  for (const std::string& taken : takenAddresses(addresses)) {
    complain("something listens on " + taken + " already; clients may reach that instead");
  }
}

ExitCode refuse(const std::string& address, sim::Instance& instance, const sim::Engine& engine) {
  instance.Stop();
  const std::size_t misuses = complainAboutMisuse(engine);
  complain("the module refused to start on '" + address + "'; its log lines say why");
  return misuses > 0 ? ExitCode::misuse : ExitCode::notStarted;
}

/// Feeds the engine for as long as the options say, then stops the instance. Events go on while the module stops, as in
/// an engine.
void play(const Options& options, const StopSignals& stopSignals, Source& source, sim::Engine& engine,
          sim::Instance& instance, CallbackTimes& times) {
  if (const std::string description = source.Description(); !description.empty()) announce(options, description);
  source.Start(engine);
  waitForEnd(options, stopSignals, times);
  instance.Stop();
  source.Stop();
}

ExitCode runWith(const Options& options, const StopSignals& stopSignals, Source& source) {
  const sim::LoadedModule module(options.module);
  sim::Engine engine;
  CallbackTimes times(withIntervals(options));
  engine.SetCallObserver([&](sim::Event event, auto duration) { times.Add(event, duration); });
  sim::Instance instance(module.Entry(), engine, module.Name());
  const std::string address = serverUrlOf(options.config);
  warnOfTaken(address);
  if (instance.Start(options.config) != 0) return refuse(address, instance, engine);
  announce(options, module.Name() + " " + module.Version() + " serves " + address + "; stop it with Ctrl-C");
  const auto begin = Clock::now();
  play(options, stopSignals, source, engine, instance, times);
  const std::size_t misuses = complainAboutMisuse(engine);
  announce(options, summary(Clock::now() - begin, times, misuses));
  const std::string failure = source.Failure();
  if (!failure.empty()) complain(failure);
  if (misuses > 0) return ExitCode::misuse;
  return failure.empty() ? ExitCode::success : ExitCode::notReplayed;
}

}  // namespace

ExitCode run(const Options& options, const StopSignals& stopSignals) {
  std::optional<Source> source;
  try {
    source.emplace(options);  // before the module is touched
  } catch (const std::runtime_error& error) {
    complain(error.what());
    return ExitCode::notReplayed;
  }
  return runWith(options, stopSignals, *source);
}

}  // namespace corvalux::devhost
