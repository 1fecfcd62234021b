#pragma once

#include <cstdint>
#include <string>

#include "corvalux/live/live.pb.h"

namespace corvalux::gateway {

/// A message to a viewer, in two pieces: a head made for it, and entries that many share, which follow it.
/// Writes all of the message but the entries, whose size it names. Appends to `to`.
void appendHead(const live::Update& update, std::size_t entries, std::string& to);
void appendHead(const live::Snapshot& snapshot, std::size_t entries, std::string& to);

}  // namespace corvalux::gateway
