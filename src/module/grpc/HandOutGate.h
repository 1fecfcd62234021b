#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace corvalux::grpc {

/// Where the library's threads wait for a hand-out to end: a completed write that is handled while the others are still
/// being started would wake a thread for each, so the first one waits here and the library queues the rest behind it.
/// Threads: a HandOut on engine threads, one at a time; Wait on gRPC threads; both may overlap.
/// Locks: a HandOut lives under the publisher's mutex. Wait holds none of ours: a hand-out takes the reactors'.
/// Ownership: a part of the publisher. Whoever destroys it has ended the hand-outs before, so nobody waits.
/// Cost: a hand-out never waits. Its end is a system call only when somebody waits.
class HandOutGate {
 public:
  /// A hand-out that runs for as long as this exists.
  class HandOut {
   public:
    explicit HandOut(HandOutGate& gate) : gate(gate) {
      gate.thread.store(std::this_thread::get_id(), std::memory_order_relaxed);
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

  /// Waits until the hand-out that runs now is over; not for one that begins later. The thread that hands out would
  /// wait for itself, and does not.
  void Wait() const {
    const uint32_t now = epoch.load();
    if (now % 2 == 1 && thread.load(std::memory_order_relaxed) != std::this_thread::get_id()) epoch.wait(now);
  }

 private:
  std::atomic<uint32_t> epoch = 0;  // odd while a hand-out runs; written under the publisher's mutex
  std::atomic<std::thread::id> thread;
};

}  // namespace corvalux::grpc
