#pragma once

#include <cstddef>
#include <string>

#include "support/Loads.h"

namespace bench {

/// The bytes of an event's message as every server here sends it. Only for loads of floats.
std::string wireBytes(const Load& load, unsigned sequence);

/// The offset of the event's number in these bytes: four bytes, little-endian.
std::size_t sequenceOffset(const Load& load);

}  // namespace bench
