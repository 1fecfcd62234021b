#pragma once

#include <array>
#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "client/Listener.h"
#include "monitor/Ending.h"

namespace corvalux::monitor {

/// Waits for the first valid message of each requested meter stream. Takes changes if they come, but does not wait for
/// them: there may be none. Ends the program as soon as it has all; on connection, if only changes were requested.
/// Threads: as Listener; Table and Report once the feed has ended.
class FirstMessages : public client::Listener {
 public:
  FirstMessages(std::string address, std::vector<client::Stream> streams, Ending& ending);

  void Take(client::Message message) override;
  void Change(const client::ConnectionState& state) override;

  /// The exit code: that of `ending`, or an error of its own if messages are missing.
  ExitCode Result(ExitCode code) const;
  /// All entries, one per line, below a line of titles.
  std::string Table() const;
  /// One line about the device, without a newline.
  std::string Report() const;

 private:
  void Look();
  std::string Finding() const;

  const std::string address;
  const std::vector<client::Stream> streams;
  Ending& ending;
  const std::chrono::steady_clock::time_point start;
  mutable std::mutex mutex;
  std::array<std::optional<client::Message>, client::allStreams.size()> messages;  // guarded by mutex
  client::ConnectionState state;                                                   // guarded by mutex
  bool complete = false;                                                           // guarded by mutex
  std::string problem;  // guarded by mutex; why the last attempt ended
};

}  // namespace corvalux::monitor
