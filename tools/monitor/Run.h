#pragma once

#include "monitor/CommandLine.h"
#include "program/StopSignals.h"

namespace corvalux::monitor {

/// The program in each of its modes, until something ends it.
/// Threads: the main thread, once. Errors: std::runtime_error with a sentence when an output cannot be used.
ExitCode runJson(const Options& options, const program::StopSignals& signals);
ExitCode runScreen(const Options& options, const program::StopSignals& signals);
ExitCode runTable(const Options& options, const program::StopSignals& signals);
ExitCode runCheck(const Options& options, const program::StopSignals& signals);

}  // namespace corvalux::monitor
