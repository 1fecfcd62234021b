#pragma once

#include <cstddef>
#include <string>

#include "devhost/Options.h"
#include "sim/Engine.h"

namespace corvalux::devhost {

/// A sentence on stderr.
void complain(const std::string& sentence);

/// A line on stdout, unless `options` want none. At once, even into a pipe: scripts wait for these lines.
void announce(const Options& options, const std::string& line);

/// Says what the module did wrong, and how often it did. Call it once the module has stopped.
std::size_t complainAboutMisuse(const sim::Engine& engine);

}  // namespace corvalux::devhost
