#pragma once

#include "devhost/Options.h"
#include "program/StopSignals.h"

namespace corvalux::devhost {

/// Simulates the engine for the module of `options`, for as long as they say. Throws std::runtime_error with a sentence
/// when the module cannot be loaded.
ExitCode run(const Options& options, const program::StopSignals& stopSignals);

}  // namespace corvalux::devhost
