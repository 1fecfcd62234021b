#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

namespace corvalux::gateway {

/// How many updates of a viewer may be on their way, and how long they take.
/// Threads: one at a time.
class Window {
 public:
  using Clock = std::chrono::steady_clock;
  using Seconds = std::chrono::duration<double>;

  static constexpr std::size_t least = 2;  ///< updates of a stream
  static constexpr Seconds longest{0.25};  ///< worth of updates beyond these
  static constexpr std::chrono::seconds memory{5};

  /// An update of a stream, which the viewer has not acknowledged.
  struct Flight {
    uint32_t subscription;
    uint64_t serial;  ///< of the subscription: another one may have its number by now
    std::size_t stream;
    Clock::time_point sent;
  };

  /// Whether one more of a stream may be sent while `flying` of it are on their way.
  bool Allows(std::size_t flying, Seconds period) const {
    const double more = period.count() > 0 ? std::min(Trip(), longest).count() / period.count() : 0;
    return flying < least + static_cast<std::size_t>(more);
  }

  void Sent(const Flight& flight) { flights.push_back(flight); }
  /// The viewer has drawn `updates` in all: calls `landed` for each flight that ends with this. False if it makes no
  /// sense.
  template <typename Landed>
  bool Acknowledge(uint32_t updates, Clock::time_point now, Landed landed) {
    const uint32_t newly = updates - drawn;
    if (newly > flights.size()) return false;
    // From the oldest: an acknowledgement may be for many.
    if (newly > 0) Measure(now - flights.front().sent, now);
    drawn = updates;
    for (uint32_t i = 0; i < newly; ++i) {
      landed(flights.front());
      flights.pop_front();
    }
    return true;
  }
  /// Since when an acknowledgement is awaited.
  std::optional<Clock::time_point> Oldest() const {
    return flights.empty() ? std::nullopt : std::optional(flights.front().sent);
  }

 private:
  /// The least of the last seconds: what is more is the queue, which the window must not follow.
  Seconds Trip() const { return std::min(current, former); }
  void Measure(Seconds trip, Clock::time_point now) {
    if (now - since >= memory) {
      former = now - since < 2 * memory ? current : Seconds::max();
      current = Seconds::max();
      since = now;
    }
    current = std::min(current, trip);
  }

  std::deque<Flight> flights;
  uint32_t drawn = 0;
  Clock::time_point since;
  Seconds current{0};
  Seconds former{0};
};

}  // namespace corvalux::gateway
