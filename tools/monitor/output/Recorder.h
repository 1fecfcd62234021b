#pragma once

#include <chrono>
#include <mutex>
#include <string>

#include "client/Listener.h"
#include "client/Recording.h"
#include "monitor/Ending.h"

namespace corvalux::monitor {

/// Writes every message to a file as received, even those that do not parse. A write error ends the program.
/// Threads: as Listener.
class Recorder : public client::Listener {
 public:
  /// Throws std::runtime_error when the file cannot be created. `ending` must outlive this.
  Recorder(const std::string& path, const std::string& address, Ending& ending);

  /// Flushes the file. False if part of the recording is missing in it.
  bool Finish();

  void Take(client::Message message) override;
  void Change(const client::ConnectionState& /*state*/) override {}

 private:
  template <typename Action>
  void Try(const Action& action);

  const std::chrono::steady_clock::time_point start;
  Ending& ending;
  std::mutex mutex;
  client::RecordingWriter writer;  // guarded by mutex
  bool failed = false;             // guarded by mutex
};

}  // namespace corvalux::monitor
