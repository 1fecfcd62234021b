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

/// A recording as lists of an engine, once or in an endless loop. Two passes are separated by the mean interval of the
/// messages, which keeps the cadence.
/// Threads: one at a time.
class Tape {
 public:
  /// Throws std::runtime_error with a sentence when the file cannot be opened, is not a recording, or is empty.
  Tape(std::string path, bool loop);

  /// Nothing at the end, or where the rest of the recording cannot be played.
  std::optional<Step> Next();

  /// After the end: one sentence why it came early; empty if it did not.
  const std::string& Failure() const { return failure; }

  /// When the next pass would begin.
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
