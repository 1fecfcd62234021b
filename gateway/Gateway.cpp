#include "gateway/Gateway.h"

#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>

#include "gateway/fleet/Connection.h"

namespace corvalux::gateway {

namespace {

/// A connection takes a descriptor, a device a few.
void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 65'536);
  setrlimit(RLIMIT_NOFILE, &limit);
}

/// Where none was asked for, none needs to be installed.
Files pageOf(const Settings& settings) {
  if (!settings.page.empty()) return Files(settings.page);
  return std::filesystem::is_directory(CORVALUX_PAGE_FOLDER) ? Files(CORVALUX_PAGE_FOLDER) : Files();
}

}  // namespace

Gateway::Gateway(const Settings& settings, std::function<std::optional<Settings>()> readAgain)
    : readAgain(std::move(readAgain)),
      signals(loop, SIGTERM, SIGINT, SIGHUP),
      watchdog(loop),
      devices(loop, settings.device, [this](const Device& device) { Report(device); }),
      viewers(loop, devices, settings.live,
              [this](const std::string& reason, const std::string& address) { server.Refuse(reason, address); }),
      page(pageOf(settings)),
      api(loop, devices, viewers, page, settings.api, [this] { return Counts(); }),
      server(
          loop, settings.http, [this](const Request& request) { return api.Handle(request); },
          [this](const std::string& reason, const std::string& address) {
            log.Warning("refused " + reason, "refused a client from " + address + ": " + reason);
          }),
      fleet(FleetOf(settings.fleet)) {
  raiseDescriptorLimit();
  std::signal(SIGPIPE, SIG_IGN);
  SayWhere();
  Follow(settings.devices);
}

void Gateway::Run() {
  AwaitSignal();
  ShowAlive();
  manager.Ready("serving " + server.Url());
  loop.run();
}

void Gateway::SayWhere() {
  log.Notice("serving " + server.Url());
  if (server.LocalOnly()) return;
  log.Notice("whoever reaches this address can read all values: there is no password and no encryption here");
}

void Gateway::AwaitSignal() {
  signals.async_wait([this](const boost::system::error_code& error, int signal) {
    if (error) return;
    if (signal == SIGHUP) {
      Reload();
      return AwaitSignal();
    }
    manager.Stopping();
    log.Notice("ending");
    if (fleet) fleet->Close();
    server.Close();
    watchdog.cancel();
    viewers.Close([this] { loop.stop(); });
  });
}

/// Only the devices: everything else needs a restart, and says so in the manual.
void Gateway::Reload() {
  manager.Reloading();
  try {
    if (const auto settings = readAgain()) Follow(settings->devices);
  } catch (const UsageError& error) {
    log.Error(std::string("kept the devices as they are: ") + error.what());
  }
  manager.Ready("serving " + server.Url());
}

void Gateway::Follow(const std::vector<DeviceAddress>& list) {
  devices.Follow(list);
  log.Notice("following " + std::to_string(list.size()) + (list.size() == 1 ? " device" : " devices"));
}

std::unique_ptr<Fleet> Gateway::FleetOf(const FleetSettings& settings) {
  if (settings.url.empty()) return nullptr;
  if constexpr (CORVALUX_FLEET) {
    const auto connect = [&settings](const std::string& inbox, std::function<void(const Incoming&)> take) {
      return connectNats(settings, inbox, std::move(take));
    };
    return std::make_unique<Fleet>(
        loop, devices, settings, connect,
        [this](const std::string& topic, const std::string& text) { log.Warning(topic, text); });
  }
  throw std::logic_error("this build has no fleet");
}

void Gateway::ShowAlive() {
  const auto interval = manager.WatchdogInterval();
  if (!interval) return;
  manager.Alive();
  watchdog.expires_after(*interval);
  watchdog.async_wait([this](const boost::system::error_code& error) {
    if (!error) ShowAlive();
  });
}

void Gateway::Report(const Device& device) {
  if (device.State() == DeviceState::connecting) return;
  const std::string& reason = device.Reason();
  log.Warning("device " + device.Where().name, device.Where().name + " (" + device.Where().address + ") is " +
                                                   nameOf(device.State()) + (reason.empty() ? "" : ": " + reason));
}

ClientCounts Gateway::Counts() const {
  return {server.Clients(), server.Readers(), api.Skipped(),
          viewers.Counts(), server.Refused(), fleet ? std::optional(fleet->Counts()) : std::nullopt};
}

}  // namespace corvalux::gateway
