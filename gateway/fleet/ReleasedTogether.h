#pragma once

#include <cstddef>
#include <mutex>
#include <utility>
#include <vector>

namespace corvalux::gateway {

/// Keeps what is no longer needed until there is some of it, and destroys it all at a time.
/// Threads: any.
template <typename Item>
class ReleasedTogether {
 public:
  static constexpr std::size_t mostItems = 32;
  static constexpr std::size_t mostBytes = 256 << 10;

  void Add(Item item, std::size_t size) {
    std::vector<Item> all;  // outlives the lock
    const std::lock_guard lock(mutex);
    items.push_back(std::move(item));
    bytes += size;
    if (items.size() < mostItems && bytes < mostBytes) return;
    all.swap(items);
    bytes = 0;
  }

 private:
  std::mutex mutex;
  std::vector<Item> items;  // guarded by mutex, as all below
  std::size_t bytes = 0;
};

}  // namespace corvalux::gateway
