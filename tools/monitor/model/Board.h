#pragma once

#include <deque>
#include <string>
#include <unordered_map>

#include "monitor/model/Inbox.h"
#include "monitor/model/Strips.h"

namespace corvalux::monitor {

/// A changed value.
struct ChangeLine {
  std::chrono::system_clock::time_point time;
  std::string key;
  std::string before;  ///< empty if unknown
  std::string after;
};

/// All that the screen shows.
/// Threads: one at a time.
class Board {
 public:
  static constexpr std::size_t changesLimit = 2000;

  explicit Board(std::string address) : address(std::move(address)) {}

  void Take(News arrived, std::chrono::steady_clock::time_point now);

  void ResetHolds();

  const std::string& Address() const { return address; }
  const Strips& Fast() const { return fast; }
  const Strips& Slow() const { return slow; }
  /// The newest first.
  const std::deque<ChangeLine>& Changes() const { return changes; }
  const News& Latest() const { return latest; }
  /// A strip's label: its name, if known, else its prefix.
  std::string LabelOf(const std::string& prefix) const;

 private:
  /// The newest value of a key, as text, and the one that it replaced.
  struct Known {
    std::string value;
    std::string before;
  };

  void Learn(const std::string& key, const std::string& value);
  void Log(const client::Message& message);

  const std::string address;
  Strips fast;
  Strips slow;
  std::deque<ChangeLine> changes;
  std::unordered_map<std::string, Known> known;  ///< from changes and slow meters
  News latest;
};

}  // namespace corvalux::monitor
