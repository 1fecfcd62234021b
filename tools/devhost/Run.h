#pragma once

#include "devhost/Options.h"
#include "program/StopSignals.h"

namespace corvalux::devhost {

/// Plays the engine for the module of `options` until it is to end. Throws std::runtime_error with a sentence when the
/// module cannot be loaded.
ExitCode run(const Options& options, const program::StopSignals& stopSignals);

}  // namespace corvalux::devhost
