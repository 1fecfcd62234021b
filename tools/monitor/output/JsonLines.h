#pragma once

#include <mutex>
#include <string>

#include "monitor/Ending.h"
#include "monitor/stream/Listener.h"

namespace monitor {

/// The message as one JSON object, without a line's end. Numbers that JSON lacks become "NaN", "Infinity", "-Infinity".
std::string jsonOf(const Message& message);

/// Writes each valid message as a line. A reader of the output that is slow holds the streams back, so that it gets new
/// messages and no backlog. A reader that has left, or an error, ends the program.
/// Threads: as Listener.
class JsonLines : public Listener {
 public:
  /// `file` stays open and `ending` alive as long as this.
  JsonLines(int file, Ending& ending) : file(file), ending(ending) {}

  void Take(Message message) override;
  void Change(const ConnectionState& /*state*/) override {}

 private:
  void Write(std::string_view line);
  bool WaitUntilWritable() const;

  const int file;
  Ending& ending;
  std::mutex mutex;  // held while a line is written
};

}  // namespace monitor
