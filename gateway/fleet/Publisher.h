#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>

#include "gateway/fleet/Bus.h"
#include "gateway/fleet/FleetCounts.h"

namespace corvalux::gateway {

/// Publishes from slots, each of which keeps what is newest, in the order in which they were filled. Nothing waits for
/// a connection: what cannot go out now is dropped.
/// Threads: has one of its own, which alone publishes; Put and Counts on any.
class Publisher {
 public:
  static constexpr std::chrono::milliseconds longestWait{500};  ///< in a slot

  /// `bus` must outlive this.
  Publisher(Bus& bus, Origin self);
  /// What is in slots is dropped.
  ~Publisher();
  Publisher(const Publisher&) = delete;
  Publisher& operator=(const Publisher&) = delete;

  /// Never waits. Replaces what is still in the slot.
  void Put(const std::string& slot, Outgoing message);
  /// Waits until all is out, but not longer than this.
  void Drain(std::chrono::milliseconds most);
  const Origin& Self() const { return self; }
  PublishedCounts Counts() const;
  /// Subjects of messages that were too large, since the last call.
  std::deque<std::string> TooLarge();

 private:
  void Run();
  void Send(const Outgoing& message);
  void Refuse(const Outgoing& message);
  Headers HeadersOf(const Outgoing& message);
  void Count(uint64_t PublishedCounts::*count, uint64_t step = 1);

  Bus& bus;
  const Origin self;
  std::unordered_map<std::string, uint64_t> sequences;  ///< by subject; the thread's
  mutable std::mutex mutex;                             // guards all below
  std::condition_variable changed;
  std::condition_variable drained;
  std::unordered_map<std::string, Outgoing> slots;
  std::deque<std::string> order;
  std::deque<std::string> tooLarge;
  PublishedCounts counts;
  bool sending = false;
  bool stopping = false;
  std::thread thread;  ///< last, so that all is there when it starts
};

}  // namespace corvalux::gateway
