#pragma once

#include <cstdint>
#include <string>

#include "sim/KeyValues.h"

namespace corvalux::devhost {

/// What an engine may do although few do: host.h allows all of it, so a module has to cope.
enum class Misbehaviour { unknownKinds, emptyTexts, notUtf8, hugeLists, zeroCounts, duplicateKeys };

/// The misbehaviour of that name; throws std::invalid_argument, which lists all names, for any other text.
Misbehaviour misbehaviourOf(const std::string& name);

/// The names, separated by commas.
std::string misbehaviourNames();

/// Appends this behaviour's entries to the `count`th list of a stream. Their keys begin with "odd/", except the empty
/// ones. Lists with and without them alternate, to test the reuse of messages as well:
///   unknownKinds   in every third list odd/unknown is a float, the list's number; in between its kinds are unknown
///   emptyTexts     in even lists: a text, a key, and both
///   notUtf8        in even lists: a text and a key
///   hugeLists      in every tenth list: 20000 entries, an array of 250000 elements, a text of 100000 bytes
///   zeroCounts     arrays of each kind, in even lists without elements, in odd ones with three
///   duplicateKeys  in all lists: odd/twice as an unsigned integer, the list's number, and as a text
void misbehave(Misbehaviour behaviour, uint32_t count, sim::KeyValues& list);

}  // namespace corvalux::devhost
