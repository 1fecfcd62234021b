#pragma once

#include <mutex>
#include <string>

#include "client/Listener.h"
#include "monitor/Ending.h"

namespace corvalux::monitor {

/// Writes each valid message as a line. A slow reader of the output blocks the streams, so that it gets new messages
/// instead of a backlog. A closed pipe or an error ends the program.
/// Threads: as Listener.
class JsonLines : public client::Listener {
 public:
  /// `file` must stay open, and `ending` exist, for this object's lifetime.
  JsonLines(int file, Ending& ending) : file(file), ending(ending) {}

  void Take(client::Message message) override;
  void Change(const client::ConnectionState& /*state*/) override {}

 private:
  void Write(std::string_view line);
  bool WaitUntilWritable() const;

  const int file;
  Ending& ending;
  std::mutex mutex;  // held while a line is written
};

}  // namespace corvalux::monitor
