#pragma once

#include <optional>

#include "monitor/screen/Canvas.h"
#include "monitor/screen/Input.h"

namespace corvalux::monitor {

/// The terminal as a full screen, for its lifetime. What libraries write to stderr would corrupt it, so it is buffered
/// and written at the end.
/// Threads: the one that created it. Only one at a time.
class Terminal {
 public:
  /// Throws std::runtime_error when the terminal cannot be used so.
  Terminal();
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  int Rows() const;
  int Columns() const;
  /// Writes only the cells that differ, to avoid flicker.
  void Show(const Canvas& canvas);
  /// The next input, without waiting; nothing if there is none.
  std::optional<Input> Next();

 private:
  void KeepErrors();
  void WriteErrors();

  int keptErrors = -1;  ///< a file in memory
  int errors = -1;      ///< stderr as it was
};

}  // namespace corvalux::monitor
