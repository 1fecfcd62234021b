#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

namespace corvalux::gateway {

/// Lines on stderr, with the priority in front where the journal reads them. What repeats is limited: of a topic five
/// lines, then one each ten seconds with the number of those left out.
/// Threads: the loop's.
class Log {
 public:
  using Clock = std::chrono::steady_clock;

  /// For people who operate it, and for what needs them.
  void Notice(const std::string& text) const { Write(5, text); }
  void Error(const std::string& text) const { Write(3, text); }
  /// A warning that may come often.
  void Warning(const std::string& topic, const std::string& text, Clock::time_point now = Clock::now());

  /// Drops topics that nothing was said about for a while.
  static constexpr std::size_t topicsLimit = 1000;

 private:
  struct Topic {
    double allowance = 5;
    Clock::time_point renewed;
    uint64_t leftOut = 0;
  };

  static void Write(int priority, const std::string& text);

  std::map<std::string, Topic> topics;
};

}  // namespace corvalux::gateway
