#pragma once

#include <array>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "monitor/model/Statistics.h"
#include "monitor/stream/Listener.h"

namespace monitor {

/// The newest values and what the streams do, in Prometheus' text format.
/// Threads: as Listener; Text on any thread.
class Metrics : public Listener {
 public:
  void Take(Message message) override;
  void Change(const ConnectionState& state) override;

  std::string Text() const;

 private:
  mutable std::mutex mutex;
  std::array<std::optional<Message>, 2> meters;          // guarded by mutex; the newest
  std::map<std::string, Value> changes;                  // guarded by mutex; the newest of each key
  std::array<Statistics, allStreams.size()> statistics;  // guarded by mutex
  bool connected = false;                                // guarded by mutex
};

}  // namespace monitor
