#pragma once

#include <cstddef>
#include <string>

#include "devhost/Options.h"
#include "sim/Engine.h"

namespace corvalux::devhost {

/// Prints a sentence on stderr.
void complain(const std::string& sentence);

/// Prints a line on stdout, unless `options` ask for none. Flushes, even into a pipe: scripts wait for these lines.
void announce(const Options& options, const std::string& line);

/// Reports what the module did wrong, and returns how often. Call it once the module has stopped.
std::size_t complainAboutMisuse(const sim::Engine& engine);

}  // namespace corvalux::devhost
