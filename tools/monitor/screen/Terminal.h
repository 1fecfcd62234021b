#pragma once

#include <optional>

#include "monitor/screen/Canvas.h"
#include "monitor/screen/Input.h"

namespace corvalux::monitor {

/// The terminal as a full screen, for its lifetime. What libraries write to stderr meanwhile would spoil it,
/// so it is kept and written at the end.
/// Threads: the one that made it. Only one at a time.
class Terminal {
 public:
  /// Throws std::runtime_error when the terminal cannot be used so.
  Terminal();
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  int Rows() const;
  int Columns() const;
  /// What differs from what stands there is written, nothing else: no flicker.
  void Show(const Canvas& canvas);
  /// The next input, without waiting; nothing when there is none.
  std::optional<Input> Next();

 private:
  void KeepErrors();
  void WriteErrors();

  int keptErrors = -1;  ///< a file in memory
  int errors = -1;      ///< stderr as it was
};

}  // namespace corvalux::monitor
