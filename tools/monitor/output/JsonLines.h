#pragma once

#include <mutex>
#include <string>

#include "client/Listener.h"
#include "monitor/Ending.h"

namespace corvalux::monitor {

/// Writes each valid message as a line. A reader of the output that is slow holds the streams back, so that it gets new
/// messages and no backlog. A reader that has left, or an error, ends the program.
/// Threads: as Listener.
class JsonLines : public client::Listener {
 public:
  /// `file` stays open and `ending` alive as long as this.
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
