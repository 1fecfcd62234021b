#pragma once

#include <cstddef>
#include <vector>

#include "corvalux/host.h"
#include "sim/KeyValues.h"

/// What a KeyValueList points to here: entries, and nothing that checks how they are used.
struct CorvaluxKeyValueList {
  std::vector<KeyValueEntry> entries;
};

namespace bench {

/// The simulated engine checks every call of a module, and that would be counted too. This host only does what it is
/// asked to: its list refers to the texts and arrays of `values`, which must outlive it.
class PlainList {
 public:
  explicit PlainList(const sim::KeyValues& values);

  KeyValueList Handle() const { return &list; }

 private:
  CorvaluxKeyValueList list;
};

/// How many lists were walked so far.
std::size_t walks();

}  // namespace bench
