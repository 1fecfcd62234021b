#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "gateway/devices/Choice.h"
#include "gateway/http/Reply.h"

namespace corvalux::gateway {

/// What readers who want the same keys of a device get: server-sent events, made once for all of them.
/// Threads: the loop's. Of one device only.
class Selection {
 public:
  explicit Selection(Patterns patterns) : choice(std::move(patterns)) {}

  /// Whether the frame has any of the keys.
  bool IsIn(const Frame& frame) { return !choice.In(frame).empty(); }
  Octets EventOf(const Frame& frame);
  /// Of all that has changed after the change with the sequence `after`; null if no chosen key has.
  Octets EventOf(const Picture& picture, uint64_t after);

 private:
  struct Made {
    uint64_t sequence = 0;
    uint64_t after = 0;
    bool none = false;                       ///< no chosen key is in it
    std::weak_ptr<const std::string> event;  ///< as long as somebody sends it
    Octets kept;                             ///< longer, when it is small

    Octets Keep(Octets made);
  };

  Choice choice;
  std::array<Made, 2> meters;
  Made changes;
};

}  // namespace corvalux::gateway
