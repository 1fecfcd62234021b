#pragma once

#include <grpc/support/cpu.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <thread>

namespace corvalux::grpc {

/// Blocks gRPC's threads until a hand-out ends. gRPC wakes an idle thread for each write that completes. A thread that
/// waits here is not idle: the completions queue behind it and wake no other.
/// Threads: a HandOut on engine threads, one at a time; Wait on gRPC threads; both may overlap.
/// Locks: a HandOut exists only under the publisher's mutex. Wait must be called with none of our locks held: a
///   hand-out takes them.
/// Ownership: a member of the publisher, which is destroyed after its last hand-out: nobody waits then.
/// Cost: a hand-out never waits for a completion. Its end is a system call only if somebody waits.
class HandOutGate {
 public:
  /// A hand-out, for the lifetime of this object.
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

  /// Waits for the current hand-out to end, not for one that begins later. Returns at once on the thread that hands
  /// out, which would wait for itself, and when MostWaiting() threads already wait.
  void Wait() const {
    const uint32_t now = epoch.load();
    const bool runs = now % 2 == 1;
    if (!runs || runner.load(std::memory_order_relaxed) == std::this_thread::get_id()) return;
    if (waiting.fetch_add(1) < MostWaiting()) epoch.wait(now);
    --waiting;
  }

  /// How many threads of the process may wait at once: all that gRPC has, where their number is fixed (1.51, 1.60).
  /// Where it has a pool (1.71 and later), one stays free: a pool without a free thread starts more, without a limit.
  static uint32_t MostWaiting() { return std::clamp(gpr_cpu_num_cores() / 2, 2U, 16U); }

 private:
  std::atomic<uint32_t> epoch = 0;      // odd while a hand-out runs; written under the publisher's mutex
  std::atomic<std::thread::id> runner;  // of the newest hand-out; written under the publisher's mutex
  static inline std::atomic<uint32_t> waiting = 0;
};

}  // namespace corvalux::grpc
