#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client/Stream.h"
#include "gateway/devices/Choice.h"
#include "gateway/devices/Device.h"
#include "gateway/http/Reply.h"
#include "gateway/live/Span.h"

namespace corvalux::gateway {

/// What viewers who want the same keys of a device get: serialised entries, made once for all who had the same message
/// last. Where messages are merged, keys of peaks carry their greatest value.
/// Threads: the loop's. Of one device only; it may be gone before this is.
class Excerpt final : private Watcher {
 public:
  /// Called on the loop's thread. It must not come or go while it is called.
  class Follower {
   public:
    virtual ~Follower() = default;
    virtual void OnNews(client::Stream stream) = 0;
    /// The last call.
    virtual void OnGone() = 0;
  };

  /// Keys of peaks whose greatest value is kept; further ones carry their newest.
  static constexpr std::size_t mostPeaks = 2'000;
  /// Spans of a stream. If viewers that are slow need more, some of them get a peak that they have already seen.
  static constexpr std::size_t mostSpans = 64;

  Excerpt(Device& device, Patterns keys, Patterns peaks);
  ~Excerpt() override;

  void Add(Follower& follower) { followers.push_back(&follower); }
  void Remove(Follower& follower) { std::erase(followers, &follower); }

  /// Null once it is gone.
  Device* Of() const { return device; }
  /// The smoothed time between two messages of a stream; zero before the second.
  std::chrono::duration<double> Period(client::Stream stream) const { return rhythms.at(indexOf(stream)).period; }

  /// How long the thread has worked for this since it was asked last.
  std::chrono::nanoseconds TakeWork() { return std::exchange(work, {}); }

  /// From the newest message of the stream on.
  std::shared_ptr<Span> Begin(client::Stream stream);
  /// What has come in a span, at least one message; empty if none of it is chosen. Sets `span` to the one in use.
  Octets EntriesOf(client::Stream stream, std::shared_ptr<Span>& span);
  /// All that is present of a stream of meters, which has had a frame.
  Octets EntriesOf(client::Stream meters);
  /// All changes that are chosen, oldest first, and their arrival.
  std::pair<Octets, std::vector<Device::Clock::time_point>> AllChanges();

 private:
  struct Rhythm {
    Device::Clock::time_point newest;
    std::chrono::duration<double> period{0};
  };
  /// What the newest frame of a stream of meters is made of.
  struct Meters {
    uint64_t sequence = 0;
    uint64_t layout = 0;
    std::vector<std::size_t> peaks;  ///< places of its entries, ascending
    Greatest::Keys peakKeys;
    std::vector<Greatest::Number> numbers;  ///< of the peaks
    Octets entries;                         ///< that are chosen; null until they are needed
  };

  void OnMessage(client::Stream stream) override;
  void OnState() override {}
  void OnGone() override;

  void Fold(client::Stream meters);
  Octets MakeEntries(client::Stream stream, const Span& span);
  void FindPeaks(const Frame& frame, Meters& of);
  void LimitSpans(std::vector<std::weak_ptr<Span>>& list);
  Octets Make(const Frame& frame, const Greatest* greatest);
  Octets MakeChanges(uint64_t after);

  Device* device;
  Choice keys;
  Choice peaks;
  std::vector<Follower*> followers;
  std::chrono::nanoseconds work{0};
  std::array<Rhythm, client::allStreams.size()> rhythms;
  std::array<Meters, 2> meters;
  std::array<std::weak_ptr<Span>, client::allStreams.size()> newest;  ///< those that begin with the newest message
  std::array<std::vector<std::weak_ptr<Span>>, client::allStreams.size()> spans;  ///< oldest first
};

}  // namespace corvalux::gateway
