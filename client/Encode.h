#pragma once

#include <string>
#include <string_view>

#include "client/Value.h"

namespace corvalux::client {

/// An entry as a KeyValue.
/// Threads: any.
std::string serialised(const Entry& entry);

/// Appends an entry to the octets of a Meter or a Notification.
/// Threads: any.
void appendEntry(const Entry& entry, std::string& message);

/// Appends an entry that is serialised, as `entriesIn` gives it.
void appendEntry(std::string_view entry, std::string& message);

}  // namespace corvalux::client
