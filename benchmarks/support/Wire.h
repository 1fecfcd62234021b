#pragma once

#include <cstddef>
#include <string>

#include "support/Loads.h"

namespace bench {

/// The bytes of an event's message as every server here sends it. Only loads of floats.
std::string wireBytes(const Load& load, unsigned sequence);

/// Where in these bytes the event's number stands: four bytes, little-endian.
std::size_t sequenceOffset(const Load& load);

}  // namespace bench
