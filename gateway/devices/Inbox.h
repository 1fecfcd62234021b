#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <vector>

#include "client/Listener.h"
#include "gateway/devices/Limits.h"

namespace corvalux::gateway {

/// What has arrived from a device since the last look.
struct Arrivals {
  std::vector<client::ConnectionState> states;  ///< oldest first; they come before the messages that follow them
  std::array<std::deque<client::Message>, client::allStreams.size()> messages;  ///< of each stream, oldest first
  uint64_t overtaken = 0;  ///< messages of meters that newer ones replaced
  uint64_t tooLarge = 0;   ///< messages beyond the limit; dropped
  uint64_t tooMany = 0;    ///< entries beyond the limit of keys; dropped
};

/// Between gRPC's threads and the loop. A loop that is late finds the newest messages: of the meters the oldest are
/// dropped, changes are merged, so that no key's newest value is lost.
/// Threads: Take and Change on gRPC's; Collect on the loop's.
class Inbox final : public client::Listener {
 public:
  static constexpr std::size_t depth = 8;  ///< messages of a stream that wait

  /// `wake` is called on gRPC's threads when there is something to collect, once until it is collected.
  Inbox(DeviceLimits limits, std::function<void()> wake) : limits(limits), wake(std::move(wake)) {}

  void Take(client::Message message) override;
  void Change(const client::ConnectionState& state) override;

  Arrivals Collect();

 private:
  void Queue(client::Message message);
  void Merge(client::Message& into, client::Message message);
  void Wake();

  const DeviceLimits limits;
  const std::function<void()> wake;
  std::mutex mutex;
  Arrivals arrivals;   // guarded by mutex
  bool woken = false;  // guarded by mutex
};

}  // namespace corvalux::gateway
