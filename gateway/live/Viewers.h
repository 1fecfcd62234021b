#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <unordered_map>

#include "gateway/devices/Devices.h"
#include "gateway/http/Handover.h"
#include "gateway/http/Unsent.h"
#include "gateway/live/Board.h"
#include "gateway/live/Excerpt.h"
#include "gateway/live/Limits.h"
#include "gateway/live/LiveCounts.h"
#include "gateway/live/Viewer.h"

namespace corvalux::gateway {

/// All viewers, and what they share.
/// Threads: the loop's.
class Viewers {
 public:
  static constexpr const char* protocol = "corvalux.v1";

  using OnRefused = std::function<void(const std::string& reason, const std::string& address)>;

  Viewers(boost::asio::io_context& loop, Devices& devices, LiveLimits limits, OnRefused onRefused);
  ~Viewers();

  bool Full() const { return all.size() >= limits.viewers; }
  /// Becomes a viewer.
  void Take(Handover handover);
  /// Ends all: they may come back. those that have not left after a second are dropped. Then calls `ended`.
  void Close(std::function<void()> ended);

  LiveCounts Counts() const { return {all.size(), updates, merged}; }

 private:
  friend class Viewer;

  // For a viewer
  void Ready(Viewer& viewer);
  void Left(Viewer& viewer);
  std::shared_ptr<Excerpt> ExcerptOf(Device& device, const Patterns& keys, const Patterns& peaks);

  void Drain();
  void TickLater();
  void Tick();
  void Relieve();
  void Fail(Viewer& viewer);
  /// An error that is not the viewer's ends that one alone.
  template <typename Call>
  void Guard(Viewer& viewer, const Call& call) {
    try {
      call();
    } catch (const std::exception&) {  // of memory, most likely
      Fail(viewer);
    }
  }

  boost::asio::io_context& loop;
  Devices& devices;
  const LiveLimits limits;
  const OnRefused onRefused;
  const std::string epoch;
  Board board;
  Unsent unsent;
  uint64_t updates = 0;
  uint64_t merged = 0;
  boost::asio::steady_timer timer;
  bool ticking = false;
  unsigned ticks = 0;
  std::unordered_map<Viewer*, std::shared_ptr<Viewer>> all;
  std::deque<Viewer*> ready;
  bool draining = false;
  std::map<std::tuple<const Device*, std::string, std::string>, std::weak_ptr<Excerpt>> excerpts;
  std::function<void()> ended;
};

}  // namespace corvalux::gateway
