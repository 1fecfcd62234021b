#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

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

  /// Whether one more of a stream may be sent while `flying` of it are on their way. A viewer that has acknowledged
  /// several `together` does so rarely, and must not run dry meanwhile.
  bool Allows(std::size_t flying, std::size_t together, Seconds period) const {
    if (period.count() <= 0) return flying < least;
    const auto worth = static_cast<std::size_t>(std::min(Trip(), longest) / period);
    const auto rarely = std::min(std::max<std::size_t>(together, 1) - 1, static_cast<std::size_t>(longest / period));
    return flying < least + std::max(worth, rarely);
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
    const auto end = flights.begin() + newly;
    for (auto flight = flights.begin(); flight != end; ++flight) landed(*flight);
    flights.erase(flights.begin(), end);
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

  std::vector<Flight> flights;
  uint32_t drawn = 0;
  Clock::time_point since;
  Seconds current{0};
  Seconds former{0};
};

}  // namespace corvalux::gateway
