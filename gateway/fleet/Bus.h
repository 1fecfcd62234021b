#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "gateway/fleet/FleetClock.h"
#include "gateway/fleet/Headers.h"

namespace corvalux::gateway {

/// How far a device's changes have been published.
struct Progress {
  std::atomic<uint64_t> upTo{0};    ///< the picture's sequence
  std::atomic<uint64_t> number{0};  ///< Corvalux-Sequence of the message that went out last
};

/// What is to be published.
struct Outgoing {
  std::string subject;
  std::string reply;
  std::shared_ptr<const std::string> payload;  ///< null: empty
  /// When it came from the device. What has it is counted by Corvalux-Sequence.
  std::optional<std::chrono::steady_clock::time_point> arrival;
  uint32_t part = 0;
  std::shared_ptr<Progress> progress;  ///< of changes: set to `upTo` once they are out
  uint64_t upTo = 0;
  FleetClock::time_point put;
};

/// What has come. Views are for the call only.
struct Incoming {
  std::string_view subject;
  std::string_view reply;
  std::string_view payload;
  HeaderTexts headers;
};

/// The connection to the fleet.
/// Threads: Publish on one thread, the rest on any; none of the rest waits.
class Bus {
 public:
  virtual ~Bus() = default;

  virtual bool Connected() const = 0;
  /// Bytes of a message.
  virtual std::size_t LargestPayload() const = 0;
  /// False: it was not sent, and never will be. May take as long as the deadline of a write.
  virtual bool Publish(const Outgoing& message, const Headers& headers) = 0;
  /// Messages that came faster than they were taken, and were dropped.
  virtual uint64_t Overrun() const = 0;
  /// Why it is not connected, as far as it is known.
  virtual std::string Reason() const = 0;
};

}  // namespace corvalux::gateway
