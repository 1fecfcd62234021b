#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace bench {

/// What the client tells the engine's process, over a stream socket.
struct Command {
  enum What : uint32_t { load, emit, pace, startCounting, stopCounting };

  What what;
  uint32_t count = 0;             ///< pace: how many events; each 20 ms, as an engine's fast cadence
  std::array<char, 8> name = {};  ///< load: its name
};

/// What the engine's process answers: once when it serves, and at the end of load, pace and the counting ones.
constexpr char done = 'D';

/// File descriptors that the engine's process finds open.
constexpr int commandDescriptor = 3;
constexpr int timelineDescriptor = 4;

/// Variables of the environment. The first names another build of the module, for the server "earlier"; if the second
/// is set, the engine's thread is a real-time one.
constexpr auto earlierModule = "CORVALUX_BENCH_EARLIER";
constexpr auto realTime = "CORVALUX_BENCH_REALTIME";

/// When each event began and how long it held the engine's thread. Shared memory: the engine's process writes, the
/// client reads once the event's messages have come and the engine is at rest.
struct Timeline {
  static constexpr std::size_t size = 1U << 20U;

  struct Event {
    std::atomic<int64_t> beginNs;  ///< steady clock
    std::atomic<int64_t> heldNs;   ///< 0 while the event lasts
  };

  std::atomic<uint32_t> events;  ///< the number of the next event
  std::array<Event, size> all;   ///< at its number modulo size

  Event& At(uint32_t sequence) { return all.at(sequence % size); }
};

}  // namespace bench
