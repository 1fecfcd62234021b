#pragma once

#include <grpcpp/alarm.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

namespace corvalux::client {

/// Runs an action after a delay, on one of gRPC's threads. At most one action is pending; starting another one, or
/// Cancel, drops it unless it is already running.
/// Threads: any, an action of this timer's included. The destructor waits for an action that runs: never destroy a
/// timer in its own action, nor while holding a lock that the action takes.
class Timer {
 public:
  Timer() = default;
  ~Timer();
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  void Start(std::chrono::milliseconds delay, std::function<void()> action);
  void Cancel();

 private:
  void Fire(uint64_t number, bool due);

  std::mutex mutex;
  std::condition_variable changed;
  std::unique_ptr<::grpc::Alarm> alarm;  // guarded by mutex
  std::function<void()> action;          // guarded by mutex
  uint64_t newest = 0;                   // guarded by mutex; the number of the action that may run
  int outstanding = 0;                   // guarded by mutex; callbacks of gRPC that have not returned
};

}  // namespace corvalux::client
