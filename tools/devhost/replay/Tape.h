#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "client/Recording.h"
#include "sim/Engine.h"
#include "sim/KeyValues.h"

namespace replay {

using Seconds = std::chrono::duration<double>;

/// One list for the engine, and when it is due, at the recording's own pace.
struct Step {
  sim::Event event;
  Seconds time;  ///< since the first list
  sim::KeyValues list;
};

/// A recording as what an engine does: once, or pass after pass without an end. Between two passes lies the mean
/// distance of two messages, so that the beat goes on.
/// Threads: one at a time.
class Tape {
 public:
  /// Throws std::runtime_error with a sentence when the file cannot be opened, is no recording, or holds nothing.
  Tape(std::string path, bool loop);

  /// Nothing at the end, and where the recording cannot be played on.
  std::optional<Step> Next();

  /// After the end: one sentence that says why it came early; empty when it did not.
  const std::string& Failure() const { return failure; }

  /// When a further pass would begin.
  Seconds End() const;

 private:
  void Open();
  void Rewind();

  const std::string path;
  const bool loop;
  std::string failure;
  std::optional<::corvalux::client::RecordingReader> reader;
  std::optional<::corvalux::client::Record> ahead;
  Seconds begin{0};    // of this pass, since the first list
  Seconds first{0};    // in the recording's time
  Seconds last{0};     // the same
  uint64_t count = 0;  // of this pass so far
};

}  // namespace replay
