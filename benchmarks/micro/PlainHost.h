#pragma once

#include <cstddef>
#include <vector>

#include "corvalux/host.h"
#include "sim/KeyValues.h"

/// What a KeyValueList points to here: entries, without checks.
struct CorvaluxKeyValueList {
  std::vector<KeyValueEntry> entries;
};

namespace bench {

/// A host without the simulated engine's checks, which would be counted as well. Its list refers to the texts and
/// arrays of `values`, which must outlive it.
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
