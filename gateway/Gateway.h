#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <memory>

#include "gateway/api/Api.h"
#include "gateway/devices/Devices.h"
#include "gateway/fleet/Fleet.h"
#include "gateway/http/HttpServer.h"
#include "gateway/live/Viewers.h"
#include "gateway/service/Log.h"
#include "gateway/service/ServiceManager.h"
#include "gateway/settings/CommandLine.h"

namespace corvalux::gateway {

/// The whole program: one loop on the thread that runs it.
/// Create it before any other thread, since it handles the process's signals.
class Gateway {
 public:
  /// `readAgain` reads the settings for SIGHUP; it may throw UsageError. Throws std::runtime_error with a sentence when
  /// it cannot listen.
  Gateway(const Settings& settings, std::function<std::optional<Settings>()> readAgain);

  /// Until SIGTERM or SIGINT.
  void Run();

 private:
  void SayWhere();
  void AwaitSignal();
  void Reload();
  void Follow(const std::vector<DeviceAddress>& list);
  std::unique_ptr<Fleet> FleetOf(const FleetSettings& settings);
  void ShowAlive();
  void Report(const Device& device);
  ClientCounts Counts() const;

  const std::function<std::optional<Settings>()> readAgain;
  boost::asio::io_context loop{1};
  boost::asio::signal_set signals;
  boost::asio::steady_timer watchdog;
  Log log;
  const ServiceManager manager;
  Devices devices;
  Viewers viewers;
  const Files page;
  Api api;
  HttpServer server;
  std::unique_ptr<Fleet> fleet;  ///< null without one
};

}  // namespace corvalux::gateway
