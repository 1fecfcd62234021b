#pragma once

#include <atomic>
#include <optional>

#include "monitor/ExitCode.h"

namespace corvalux::monitor {

/// Why the program is to end; the first cause is kept.
/// Threads: any.
class Ending {
 public:
  Ending();
  ~Ending();
  Ending(const Ending&) = delete;
  Ending& operator=(const Ending&) = delete;

  void Set(ExitCode code);
  std::optional<ExitCode> Get() const;

  /// Readable from Set on.
  int File() const { return file; }

 private:
  static constexpr int none = -1;

  std::atomic<int> code = none;
  int file;
};

}  // namespace corvalux::monitor
