#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "client/Feed.h"
#include "client/StreamStatistics.h"
#include "gateway/devices/Inbox.h"
#include "gateway/devices/LevelWindow.h"
#include "gateway/devices/Picture.h"

namespace corvalux::gateway {

/// Where a device is, as its name and address were given.
struct DeviceAddress {
  std::string name;
  std::string address;

  bool operator==(const DeviceAddress&) const = default;
};

struct DeviceSettings {
  DeviceLimits limits;
  Patterns levels;  ///< keys whose least and greatest level are kept; without a pattern none
  std::chrono::seconds levelWindow{60};
  /// A device answers a ping in time, or is lost: within less than 15 s, also when the network swallows packets.
  client::Keepalive keepalive{std::chrono::seconds(6), std::chrono::seconds(5)};
};

enum class DeviceState {
  connecting,  ///< since the start, or connected and no meters yet
  live,
  stale,  ///< connected, but silent
  lost    ///< not connected; it tries again
};

const char* nameOf(DeviceState state);

class Device;

/// Follows a device. Called on the loop's thread; may stop watching in any of them.
class Watcher {
 public:
  virtual ~Watcher() = default;
  /// After each message that the device's values have taken.
  virtual void OnMessage(client::Stream stream) = 0;
  virtual void OnState() = 0;
  /// The last call: the gateway no longer follows the device.
  virtual void OnGone() = 0;
};

/// What a device calls.
struct DeviceCalls {
  std::function<void()> wake;  ///< on gRPC's threads, when Collect has something to do
  std::function<void(const Device&)> entered = [](const Device&) {};  ///< on the loop's, with each new state or reason
};

/// A device that the gateway follows: where its values come from, its present values, and who watches it. They come
/// from its own connection, or, while it has none, from other gateways. Threads: the loop's. Destroying it waits until
/// gRPC has left it, which takes no longer than a call of Inbox.
class Device {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr std::chrono::seconds leastSilence{1};  ///< before a device can be stale

  /// Begins to connect, unless it is another gateway's.
  Device(DeviceAddress where, const DeviceSettings& settings, DeviceCalls calls, bool given = true);
  ~Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  /// Takes what gRPC's threads have left, and notifies the watchers.
  void Collect(Clock::time_point now);
  /// Looks whether the device has fallen silent.
  void CheckSilence(Clock::time_point now);

  /// Where other gateways' messages of this device go to; shared with who leaves them there.
  std::shared_ptr<client::Listener> FromFleet() const { return fleet.inbox; }
  /// Values that another gateway has: streams of meters that are unknown, changes of keys that are unknown, and those
  /// that are `newer`: learned after the first time there, while the present sequence was the second at most.
  struct Newer {
    Clock::time_point than;
    uint64_t sequence = 0;
  };
  void Fill(client::Stream stream, std::vector<AgedEntry> entries, const Newer& newer);
  /// This gateway has the address, and a connection of its own while it can.
  bool Given() const { return feed.has_value(); }
  /// Over its own connection.
  bool Connected() const { return own.connected.has_value(); }
  /// Why it is not.
  const std::string& WhyNot() const { return own.reason; }
  /// Of one that is another gateway's.
  void SetAddress(const std::string& address);

  void Add(Watcher& watcher) { watchers.insert(&watcher); }
  void Remove(Watcher& watcher) { watchers.erase(&watcher); }

  const DeviceAddress& Where() const { return where; }
  DeviceState State() const { return state; }
  const std::string& Reason() const { return reason; }
  std::chrono::system_clock::time_point Since() const { return since; }
  const Picture& Values() const { return picture; }
  const LevelWindow& Levels() const { return levels; }
  const client::StreamStatistics& Statistics(client::Stream stream) const { return statistics.at(indexOf(stream)); }
  Exceeded Over() const;
  uint64_t Overtaken() const { return overtaken; }
  /// Of the newest message; nothing before the first.
  std::optional<Clock::duration> Age(Clock::time_point now) const;

  /// Keys of levels, in dB, and of counters of clipped samples, by which a summary is made.
  Choice& Peaks() { return peaks; }
  Choice& Clips() { return clips; }

 private:
  /// How a meter stream arrives on this connection.
  struct Pulse {
    std::optional<Clock::time_point> newest;
    std::optional<Clock::duration> period;  ///< smoothed

    void Beat(Clock::time_point now);
    Clock::duration Patience() const;
  };

  /// Where values come from.
  struct Source {
    std::shared_ptr<Inbox> inbox;
    std::optional<Clock::time_point> connected;  ///< since when; nothing while it is not
    std::string reason;                          ///< why it is not
  };

  void Collect(Source& source, Clock::time_point now);
  void Take(Source& source, const client::ConnectionState& connection, Clock::time_point now);
  void Choose(const Source& changed);
  void Interrupt();
  void Take(client::Message message);
  void Enter(DeviceState next, const std::string& why);
  std::optional<std::string> Silence(Clock::time_point now) const;
  template <typename Call>
  void Notify(const Call& call);

  DeviceAddress where;
  const DeviceCalls calls;
  Picture picture;
  LevelWindow levels;
  Choice peaks;
  Choice clips;
  std::array<client::StreamStatistics, client::allStreams.size()> statistics;
  std::array<Pulse, 2> pulses;
  DeviceState state = DeviceState::connecting;
  std::string reason;
  std::chrono::system_clock::time_point since = std::chrono::system_clock::now();
  std::optional<Clock::time_point> ownHeard;  ///< the newest message over its own connection
  uint64_t overtaken = 0;
  uint64_t tooLarge = 0;
  uint64_t tooMany = 0;
  std::set<Watcher*> watchers;
  Source own;
  Source fleet;
  Source* present;
  std::optional<client::Feed> feed;  ///< last, so that it ends first
};

}  // namespace corvalux::gateway
