#pragma once

#include <array>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "gateway/api/Selection.h"
#include "gateway/devices/Device.h"
#include "gateway/http/Reply.h"

namespace corvalux::gateway {

/// What a reader wants of a device.
struct Wanted {
  std::vector<client::Stream> streams;
  std::shared_ptr<Selection> selection;
  std::optional<double> hz;  ///< at most so many events of a stream a second
};

/// A device's messages as server-sent events: the device's state, the present values, then what follows. A reader that
/// is slow, or wants few, gets the newest frame of meters and, of what changed meanwhile, the newest value of each key.
/// Threads: the loop's.
class EventStream final : public Source, private Watcher {
 public:
  /// Without an event for so long it sends a comment: then a connection that is gone shows.
  static constexpr std::chrono::seconds quiet{15};

  /// `skipped` counts frames that a slow reader did not get; it must outlive this.
  EventStream(boost::asio::io_context& loop, Device& device, Wanted wanted, uint64_t& skipped);
  ~EventStream() override;

  void Start(std::function<void()> whenNew) override { wake = std::move(whenNew); }
  Octets Next() override;
  bool Ended() const override { return !device && !news; }
  const char* Type() const override { return "text/event-stream"; }

 private:
  using Clock = std::chrono::steady_clock;

  void OnMessage(client::Stream stream) override;
  void OnState() override;
  void OnGone() override;

  Octets NextOf(client::Stream stream, Clock::time_point now);
  void WaitUntilDue(Clock::time_point now);

  boost::asio::steady_timer timer;
  /// Expired with this: a wait that is over can no longer be cancelled, and its handler may run later.
  std::shared_ptr<const char> token = std::make_shared<const char>();
  Device* device;  ///< null once it is gone
  Wanted wanted;
  uint64_t& skipped;
  std::function<void()> wake;
  Octets news;  ///< of the state, not sent yet
  std::array<uint64_t, client::allStreams.size()> sent{};
  std::array<Clock::time_point, client::allStreams.size()> due{};
  std::array<bool, client::allStreams.size()> shown{};  ///< whether the newest event of the stream had entries
  Clock::time_point latest = Clock::now();              ///< of the newest event
};

}  // namespace corvalux::gateway
