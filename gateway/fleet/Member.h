#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "gateway/devices/Device.h"
#include "gateway/fleet/Allowance.h"
#include "gateway/fleet/Election.h"
#include "gateway/fleet/Publisher.h"
#include "gateway/fleet/Receiver.h"

namespace corvalux::gateway {

/// What all members of a fleet use.
struct FleetParts {
  Origin self;
  std::string inbox;  ///< subject that answers to requests come to, followed by device and request
  Bus& bus;
  Publisher& publisher;
  Receiver& receiver;
  std::mt19937_64 random;
  std::optional<FleetClock::time_point> listens;  ///< without a break since then
  FleetClock::time_point looked;                  ///< the loop, last
  Allowance pictureBytes;
  uint64_t pictures = 0;  ///< answered, and taken

  /// A loop that stood still has old messages before it, and others may speak by now.
  bool Stood(FleetClock::time_point now) const { return now - looked > std::chrono::seconds(1); }
};

/// A device in the fleet: publishes it while this gateway speaks for it, and fetches others' picture of it.
/// Threads: the loop's. Never waits.
class Member final : private Watcher {
 public:
  using Time = FleetClock::time_point;

  /// `parts` must outlive this; the device need not.
  Member(const std::shared_ptr<Device>& device, FleetParts& parts);
  ~Member() override;

  void Tick(Time now);
  /// Sends the present values there, if this gateway speaks.
  void Answer(const std::string& reply, Time now);
  void Take(Receiver::Part part);
  /// Says that this gateway no longer follows the device.
  void Leave();

  bool Speaks() const { return election.Speaks(); }
  bool Gone() const { return device == nullptr; }
  bool IsOf(const std::shared_ptr<Device>& other) const { return device == other.get(); }
  /// Nobody has it any longer.
  bool IsOver() const { return over; }

 private:
  /// The picture that is being fetched.
  struct Fetch {
    uint64_t wanted = 0;  ///< reasons to ask, when it was asked for
    uint64_t done = 0;    ///< the same of the one that came last
    uint64_t request = 0;
    uint32_t next = 1;  ///< part
    Time again;
    Device::Newer newer;
    std::array<std::vector<AgedEntry>, client::allStreams.size()> entries;
    std::size_t count = 0;
  };

  void OnMessage(client::Stream stream) override;
  void OnState() override { stateDue = {}; }
  void OnGone() override;

  void Elect(const Receiver::View& view, Time now);
  void Heard(Time heard, Time now);
  void Begin();
  void Say(Time now);
  void Ask(const Receiver::View& view, Time now);
  void PutMeters(client::Stream stream);
  void PutChanges();
  void PutRemade(uint64_t after);
  void Put(Topic topic, Outgoing message, const std::string& suffix = {});
  Report ReportNow() const;

  Device* device;
  const std::string name;
  const bool given;
  FleetParts& parts;
  Election election;
  std::optional<Time> heard;
  Device::Clock::time_point heardSteady;
  const std::shared_ptr<Progress> progress = std::make_shared<Progress>();
  Allowance answers;
  Fetch fetch;
  Time stateDue;
  bool over = false;
};

}  // namespace corvalux::gateway
