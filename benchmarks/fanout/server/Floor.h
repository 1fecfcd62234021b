#pragma once

#include <memory>
#include <string>

#include "fanout/server/Subject.h"

namespace bench {

/// How a floor speaks to its subscribers.
struct Framing {
  std::string (*framed)(const std::string& message);
  std::string answer = {};  ///< to what a subscriber sends first; without one, messages come at once
};

std::unique_ptr<Subject> startFloor(sim::Engine& engine, uint16_t port, const Framing& framing);

}  // namespace bench
