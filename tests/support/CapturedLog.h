#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "sim/Log.h"

namespace test {

/// Collects the module's log lines for its lifetime. One at a time in a process. Thread-safe.
class CapturedLog {
 public:
  CapturedLog();
  ~CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  std::vector<sim::LogLine> Lines() const;

  /// The lines as "LEVEL text", oldest first.
  std::vector<std::string> Texts() const;

  /// How many lines have this level and contain this text.
  std::size_t Count(int level, const std::string& part) const;

  /// Waits until `count` lines contain `part`; false when they do not come in time.
  bool WaitFor(const std::string& part, std::size_t count = 1) const;

  void Clear();

 private:
  std::size_t CountLocked(const std::function<bool(const sim::LogLine&)>& matches) const;

  mutable std::mutex mutex;
  mutable std::condition_variable grown;
  std::vector<sim::LogLine> lines;  // guarded by mutex
};

}  // namespace test
