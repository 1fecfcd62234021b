#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "corvalux/host.h"
#include "sim/KeyValues.h"

/// What a KeyValueList points to: entries in the host's record layout.
struct CorvaluxKeyValueList {
  std::vector<KeyValueEntry> entries;
  std::function<void()> onVisit;   ///< runs before each entry is visited; may be empty
  int32_t walkResult = 0;          ///< what a walk over all entries returns
  mutable std::size_t visits = 0;  ///< entries visited so far
};

namespace sim {

/// A list as the host passes it. Its texts and arrays are separate blocks, overwritten and freed together with it, so
/// that a module that keeps a pointer reads garbage and is caught by the address sanitizer.
/// Threads: created, used and destroyed on one thread.
class HostList {
 public:
  explicit HostList(const KeyValues& values, std::function<void()> onVisit = {}, int32_t walkResult = 0);
  ~HostList();
  HostList(const HostList&) = delete;
  HostList& operator=(const HostList&) = delete;

  KeyValueList Handle() const { return &list; }

  /// How many entries the module has visited.
  std::size_t Visits() const { return list.visits; }

 private:
  struct Block {
    std::unique_ptr<std::byte[]> bytes;
    std::size_t size;
  };

  /// A copy of `size` bytes; null for none.
  const void* Keep(const void* bytes, std::size_t size);
  KeyValueEntry MakeEntry(const NamedValue& named);

  CorvaluxKeyValueList list;
  std::vector<Block> blocks;
};

/// Whether a HostList with this handle exists now. Thread-safe.
bool isLive(KeyValueList list);

}  // namespace sim
