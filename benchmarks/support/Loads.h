#pragma once

#include <string_view>
#include <vector>

#include "sim/KeyValues.h"

namespace bench {

/// The content of an event. The first four bytes of the first entry's value are for the event's number, see
/// setSequence.
struct Load {
  std::string_view name;
  sim::KeyValues values;
};

/// 8 entries of one float: a small desk's peaks.
Load smallLoad();
/// 64 entries of 8 floats, under keys of about 20 characters: about 4 KB.
Load mediumLoad();
/// 512 entries of 32 floats: about 77 KB.
Load largeLoad();
/// 64 entries of all eight kinds in turn.
Load mixedLoad();

/// All of them, in this order.
std::vector<Load> allLoads();

/// The load of this name; throws std::invalid_argument.
Load loadNamed(std::string_view name);

/// Writes an event's number into the first entry, which must hold floats; every client finds its bytes in the message.
void setSequence(sim::KeyValues& values, unsigned sequence);

}  // namespace bench
