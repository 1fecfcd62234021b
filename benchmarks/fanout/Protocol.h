#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace bench {

/// The client's commands to the engine's process, over a stream socket.
struct Command {
  enum What : uint32_t { load, emit, pace, startCounting, stopCounting };

  What what;
  uint32_t count = 0;             ///< pace: how many events
  uint32_t cadenceMs = 20;        ///< pace: time from event to event; an engine's fast cadence
  std::array<char, 8> name = {};  ///< load: its name
};

/// The engine's process answers once when it serves, and at the end of load, pace and the counting commands.
constexpr char done = 'D';

/// File descriptors that the engine's process inherits.
constexpr int commandDescriptor = 3;
constexpr int timelineDescriptor = 4;

/// Environment variables. The first names another build of the module, for the server "earlier"; if the second is set,
/// the engine's thread has a real-time priority.
constexpr auto earlierModule = "CORVALUX_BENCH_EARLIER";
constexpr auto realTime = "CORVALUX_BENCH_REALTIME";

/// When each event began and how long it held the engine's thread. Shared memory: the engine's process writes; the
/// client reads once the event's messages have arrived and the engine is idle.
struct Timeline {
  static constexpr std::size_t size = 1U << 20U;

  struct Event {
    std::atomic<int64_t> beginNs;  ///< steady clock
    std::atomic<int64_t> heldNs;   ///< 0 while the event lasts
    std::atomic<int64_t> cpuNs;    ///< of the engine's thread meanwhile
  };

  std::atomic<uint32_t> events;  ///< the number of the next event
  std::array<Event, size> all;   ///< indexed by number modulo size

  Event& At(uint32_t sequence) { return all.at(sequence % size); }
};

}  // namespace bench
