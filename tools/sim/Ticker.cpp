#include "sim/Ticker.h"

#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <utility>

namespace sim {

Ticker::Ticker(std::chrono::nanoseconds period, std::function<void()> tick)
    : thread([period, tick = std::move(tick)](const std::stop_token& stop) {
        using Clock = std::chrono::steady_clock;
        std::mutex mutex;
        std::condition_variable_any stopped;
        std::unique_lock lock(mutex);
        for (auto next = Clock::now(); !stop.stop_requested();) {
          tick();
          const auto now = Clock::now();
          next += period;
          if (next < now) next += (now - next) / period * period + period;
          stopped.wait_until(lock, stop, next, [] { return false; });
        }
      }) {}

}  // namespace sim
