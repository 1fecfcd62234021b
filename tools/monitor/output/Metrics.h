#pragma once

#include <array>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "client/Listener.h"
#include "monitor/model/StreamStatistics.h"

namespace corvalux::monitor {

/// The newest values and the streams' statistics, in Prometheus' text format.
/// Threads: as Listener; Text on any thread.
class Metrics : public client::Listener {
 public:
  void Take(client::Message message) override;
  void Change(const client::ConnectionState& state) override;

  std::string Text() const;

 private:
  mutable std::mutex mutex;
  std::array<std::optional<client::Message>, 2> meters;                // guarded by mutex; the newest
  std::map<std::string, client::Value> changes;                        // guarded by mutex; the newest of each key
  std::array<StreamStatistics, client::allStreams.size()> statistics;  // guarded by mutex
  bool connected = false;                                              // guarded by mutex
};

}  // namespace corvalux::monitor
