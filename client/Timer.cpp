#include "client/Timer.h"

#include <grpc/support/time.h>

#include <utility>

namespace corvalux::client {

namespace {

/// Monotonic: the clock may be set meanwhile.
gpr_timespec after(std::chrono::milliseconds delay) {
  return gpr_time_add(gpr_now(GPR_CLOCK_MONOTONIC), gpr_time_from_millis(delay.count(), GPR_TIMESPAN));
}

}  // namespace

Timer::~Timer() {
  Cancel();
  std::unique_lock lock(mutex);
  changed.wait(lock, [this] { return outstanding == 0; });
}

void Timer::Start(std::chrono::milliseconds delay, std::function<void()> newAction) {
  const std::lock_guard lock(mutex);
  action = std::move(newAction);
  // Each action has an alarm of its own: an alarm that is in its callback cannot be set again.
  alarm = std::make_unique<::grpc::Alarm>();
  ++outstanding;
  alarm->Set(after(delay), [this, number = ++newest](bool due) { Fire(number, due); });
}

void Timer::Cancel() {
  const std::lock_guard lock(mutex);
  ++newest;
  if (alarm) alarm->Cancel();
}

void Timer::Fire(uint64_t number, bool due) {
  std::unique_lock lock(mutex);
  if (due && number == newest) {
    const auto current = std::exchange(action, nullptr);
    lock.unlock();
    current();
    lock.lock();
  }
  --outstanding;
  changed.notify_all();
}

}  // namespace corvalux::client
