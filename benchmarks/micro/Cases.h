#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

/// One part of the module's work for an event.
struct Case {
  std::string name;               ///< WHAT/LOAD or WHAT/LOAD/STREAMS
  std::function<void()> doEvent;  ///< does it once; on one thread only
};

/// All cases. The first call of `doEvent` still allocates what the following ones reuse. fill/LOAD/fresh list to
///   message, into a new message each time fill/LOAD/reused the same into the message of the event before, as the meter
///   callbacks do it fill/LOAD/changed the same when each list has other kinds and another length than the one before
///   fill/LOAD/best the same in the cheapest way that we know, see bestFill serialise/LOAD message to bytes
///   publish/LOAD/N serialise, hand to N mocked streams, complete their writes event/LOAD/N a whole fast meter callback
///   with N mocked streams idle/fast, idle/slow a meter callback without subscribers
std::vector<Case> allCases();

}  // namespace bench
