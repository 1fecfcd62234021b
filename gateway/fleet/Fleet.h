#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "gateway/devices/Devices.h"
#include "gateway/fleet/FleetCounts.h"
#include "gateway/fleet/FleetSettings.h"
#include "gateway/fleet/Member.h"

namespace corvalux::gateway {

/// All gateways on one NATS server or cluster: shares this gateway's devices with the others, and has theirs.
/// Threads: the loop's, which never waits for the fleet, but in Close.
class Fleet {
 public:
  /// Makes the connection, given what takes messages of devices and answers to requests.
  using Connect =
      std::function<std::unique_ptr<Bus>(const std::string& inbox, std::function<void(const Incoming&)> take)>;
  /// A line for the log, and what it is about.
  using Say = std::function<void(const std::string& topic, const std::string& text)>;

  /// `devices` must outlive this.
  Fleet(boost::asio::io_context& loop, Devices& devices, const FleetSettings& settings, const Connect& connect,
        Say say);
  ~Fleet();
  Fleet(const Fleet&) = delete;
  Fleet& operator=(const Fleet&) = delete;

  FleetCounts Counts() const;
  /// Says that this gateway ends; waits a moment until it is out.
  void Close();

 private:
  using Time = FleetClock::time_point;

  void Take(const Incoming& incoming);
  void TickLater();
  void Tick();
  void WatchConnection(Time now);
  void MeetDevices();
  void Serve(Time now);
  void SayWhatIsTooLarge();

  Devices& devices;
  const Say say;
  Receiver receiver;
  const std::string inbox;
  std::unique_ptr<Bus> bus;
  Publisher publisher;
  FleetParts parts;
  std::map<std::string, std::unique_ptr<Member>> members;
  boost::asio::steady_timer timer;
  const std::shared_ptr<const char> token = std::make_shared<const char>();  ///< while this exists
  bool connected = false;
  std::string why;           ///< not
  std::optional<Time> lost;  ///< since when
};

}  // namespace corvalux::gateway
