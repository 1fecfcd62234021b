#pragma once

#include "monitor/CommandLine.h"
#include "monitor/Ending.h"

namespace monitor {

/// The whole of the program in each of its ways to show what comes, until something ends it.
/// Threads: the main thread, once. Errors: std::runtime_error with a sentence when an output cannot be used.
ExitCode runJson(const Options& options, const Signals& signals);
ExitCode runScreen(const Options& options, const Signals& signals);
ExitCode runTable(const Options& options, const Signals& signals);
ExitCode runCheck(const Options& options, const Signals& signals);
ExitCode runPrometheus(const Options& options, const Signals& signals);

}  // namespace monitor
