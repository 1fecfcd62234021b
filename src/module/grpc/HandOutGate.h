#pragma once

#include <grpc/support/cpu.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <thread>

namespace corvalux::grpc {

/// Where threads of the library wait for a hand-out to end. The library wakes an idle thread for each write that
/// completes. A thread that waits here is not idle: the completions queue behind it, and wake nobody.
/// Threads: a HandOut on engine threads, one at a time; Wait on gRPC threads; both may overlap.
/// Locks: a HandOut lives under the publisher's mutex. Wait must be called without any lock of ours: a hand-out takes
///   them.
/// Ownership: a part of the publisher. Whoever destroys it has ended the hand-outs, so nobody waits any more.
/// Cost: a hand-out never waits for a completion. Its end is a system call only if somebody waits.
class HandOutGate {
 public:
  /// A hand-out that runs for as long as this exists.
  class HandOut {
   public:
    explicit HandOut(HandOutGate& gate) : gate(gate) {
      gate.runner.store(std::this_thread::get_id(), std::memory_order_relaxed);
      ++gate.epoch;
    }
    ~HandOut() {
      ++gate.epoch;
      gate.epoch.notify_all();
    }
    HandOut(const HandOut&) = delete;
    HandOut& operator=(const HandOut&) = delete;

   private:
    HandOutGate& gate;
  };

  /// Waits until the hand-out that runs now is over; not for one that begins later. Returns at once on the thread that
  /// hands out, which would wait for itself, and when MostWaiting() threads wait already.
  void Wait() const {
    const uint32_t now = epoch.load();
    const bool runs = now % 2 == 1;
    if (!runs || runner.load(std::memory_order_relaxed) == std::this_thread::get_id()) return;
    if (waiting.fetch_add(1) < MostWaiting()) epoch.wait(now);
    --waiting;
  }

  /// How many threads of the process may wait at once: all that the library has, where their number is fixed
  /// (1.51, 1.60). Where it has a pool (1.71 on), a free one remains: a pool without any starts further ones, without a
  /// limit.
  static uint32_t MostWaiting() { return std::clamp(gpr_cpu_num_cores() / 2, 2U, 16U); }

 private:
  std::atomic<uint32_t> epoch = 0;      // odd while a hand-out runs; written under the publisher's mutex
  std::atomic<std::thread::id> runner;  // of the newest hand-out; written under the publisher's mutex
  static inline std::atomic<uint32_t> waiting = 0;
};

}  // namespace corvalux::grpc
