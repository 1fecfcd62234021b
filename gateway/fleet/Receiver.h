#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client/Listener.h"
#include "gateway/fleet/Bus.h"
#include "gateway/fleet/FleetCounts.h"
#include "gateway/fleet/OriginClock.h"
#include "gateway/fleet/Origins.h"
#include "gateway/fleet/PictureParts.h"
#include "gateway/fleet/Report.h"
#include "gateway/fleet/Subjects.h"

namespace corvalux::gateway {

/// Decides what counts of all that comes, and leaves it with the devices' listeners.
/// Threads: Take and TakePart on the connection's, the rest on the loop's. It never waits.
/// Locks: one, also while a listener's state is set; not while a message is decoded or left with it.
class Receiver {
 public:
  using Time = FleetClock::time_point;
  using Milliseconds = std::chrono::milliseconds;

  static constexpr const char* noSpeaker = "no gateway speaks for it";
  static constexpr std::chrono::seconds mostLateness{1};
  static constexpr Milliseconds lostAfter{2'000};  ///< of silence; until then the next one may take over
  static constexpr std::chrono::seconds keptFor{3'600};
  static constexpr std::chrono::seconds reportedWithin{12};  ///< by an origin that still follows a device
  static constexpr std::size_t mostOrigins = 1'000;
  static constexpr std::size_t mostRequests = 256;
  static constexpr std::size_t mostPartBytes = 32UL << 20;  ///< of parts that wait

  struct Request {
    std::string device;
    std::string reply;
  };
  struct Part {
    std::string device;
    uint64_t request = 0;  ///< as it was asked for
    uint32_t number = 0;
    PicturePart values;
  };
  /// What is known of a device.
  struct View {
    std::optional<Origin> followed;
    std::optional<Time> heard;     ///< any that speaks
    std::optional<Time> released;  ///< one of them did
    std::optional<Origin> first;   ///< of those that speak, the one that goes on in a conflict
    Time newerThan;                ///< what the followed one learned later is newer than all that came before it
    uint64_t pictures = 0;         ///< times that there was reason to ask for the picture
    std::string via;               ///< the name of who speaks, or spoke last
    bool over = false;             ///< nobody follows it any longer
  };

  explicit Receiver(std::size_t mostDevices) : mostDevices(mostDevices) {}

  /// What came on a subject of the fleet.
  void Take(const Incoming& incoming, Time now = FleetClock::now());
  /// The answer to a request; `device` and `request` as in its subject.
  void TakePart(const std::string& device, uint64_t request, const Incoming& incoming, Time now = FleetClock::now());

  /// From now on what comes of this device goes there. `given`: the gateway has a connection of its own to it.
  void Attach(const std::string& device, std::shared_ptr<client::Listener> listener, bool given);
  /// Devices that are attached to nobody.
  std::vector<std::string> Strangers() const;
  void Forget(const std::string& device);
  /// Of an attached device, at this time; `patience` for `first`. `takes`: its listener wants messages now.
  View Look(const std::string& device, Time now, Milliseconds patience, bool takes);

  std::vector<Request> Requests();
  std::vector<Part> Parts();
  ReceivedCounts Counts() const;

 private:
  struct Remote {
    Origins origins;
    std::map<Origin, Time> reporters;  ///< that follow it, whether or not they speak
    std::array<uint64_t, client::allStreams.size()> sequences{};
    std::shared_ptr<client::Listener> listener;
    bool given = false;
    bool takes = true;
    bool up = false;
    bool everUp = false;
    bool gone = false;
    std::string reason = noSpeaker;
    std::string via;
    uint64_t pictures = 0;
    Time heard;
  };

  // With the mutex held:
  std::optional<OriginClock::Seconds> LatenessOf(const Headers& headers, Time now);
  Remote* Find(const std::string& device, Time now);
  Origins::Answer Hear(Remote& remote, const Origin& origin, Time now);
  bool IsNew(Remote& remote, client::Stream stream, uint64_t sequence);
  void Read(Remote& remote, const Headers& headers, const Report& report, Time now);
  void Down(Remote& remote);
  static bool IsOver(const Remote& remote, Time now);

  void TakeRequest(const Subject& subject, const Incoming& incoming);
  void TakeReport(const Subject& subject, const Headers& headers, const Incoming& incoming, Time now);
  void TakeMessage(const Subject& subject, const Headers& headers, const Incoming& incoming, Time now);
  void CountBad();

  const std::size_t mostDevices;
  mutable std::mutex mutex;  // guards all below
  std::map<std::string, Remote> remotes;
  std::map<Origin, OriginClock> clocks;
  std::vector<Request> requests;
  std::vector<Part> parts;
  std::size_t bytesOfParts = 0;
  ReceivedCounts counts;
};

}  // namespace corvalux::gateway
