#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "client/Value.h"

namespace corvalux::monitor {

/// The values of one message whose keys share a prefix: a channel, a bus.
struct Strip {
  std::string prefix;
  std::optional<double> peak;  ///< dBFS
  std::optional<double> rms;   ///< dBFS
  double hold = 0;             ///< the highest level of the last seconds, dBFS; only with a level
  std::vector<float> spectrum;
  std::vector<client::Entry> others;  ///< the rest, with the last part of the key as their key

  bool HasLevel() const { return peak || rms; }
};

/// The newest message of a meter stream, by strips in the order of their first keys, with peak hold.
/// Threads: one at a time.
class Strips {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr std::chrono::milliseconds holdTime{1500};
  static constexpr double releasePerSecond = 20;  ///< dB

  void Take(const std::vector<client::Entry>& entries, Clock::time_point now);

  void ResetHolds() { holds.clear(); }

  const std::vector<Strip>& All() const { return strips; }

 private:
  struct Hold {
    double level = 0;
    Clock::time_point since;  ///< of the level
    Clock::time_point updated;
  };

  Strip& StripOf(std::string_view prefix);
  double Held(const std::string& prefix, double level, Clock::time_point now);

  std::vector<Strip> strips;
  std::unordered_map<std::string, std::size_t> places;
  std::unordered_map<std::string, Hold> holds;
};

}  // namespace corvalux::monitor
