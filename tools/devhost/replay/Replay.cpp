#include "devhost/replay/Replay.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <utility>

namespace replay {

namespace {

using Clock = std::chrono::steady_clock;

constexpr Seconds longestWait{1e8};
constexpr std::chrono::seconds latest{1};

/// Waits for a time of the recording, at the pace of the replay.
class Timer {
 public:
  explicit Timer(double pace) : pace(pace) {}

  /// False if stopped before.
  bool WaitUntil(Seconds time, const std::stop_token& stop) {
    const auto due = start + std::chrono::duration_cast<Clock::duration>(std::min(time / pace, longestWait));
    std::unique_lock lock(mutex);
    stopped.wait_until(lock, stop, due, [] { return false; });
    // After a suspension of the program, continue where it was instead of catching up in a burst.
    if (const auto late = Clock::now() - due; late > latest) start += late;
    return !stop.stop_requested();
  }

 private:
  const double pace;
  Clock::time_point start = Clock::now();
  std::mutex mutex;
  std::condition_variable_any stopped;
};

}  // namespace

Replay::Replay(sim::Engine& engine, Tape& tape, double pace, std::function<void()> atEnd)
    : thread([&engine, &tape, pace, atEnd = std::move(atEnd)](const std::stop_token& stop) {
        Timer timer(pace);
        while (const auto step = tape.Next()) {
          if (!timer.WaitUntil(step->time, stop)) return;
          engine.Emit(step->event, step->list);
        }
        // Leaves clients time to receive the last message.
        if (timer.WaitUntil(tape.End(), stop)) atEnd();
      }) {}

}  // namespace replay
