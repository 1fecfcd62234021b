#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace corvalux::gateway {

/// Tells the service manager what the program does, by the protocol of sd_notify(3): a datagram to a socket. Nothing
/// happens without one.
/// Threads: one at a time. It never blocks; what the manager does not take is dropped.
class ServiceManager {
 public:
  /// From the environment that the service manager sets.
  ServiceManager();
  ~ServiceManager();
  ServiceManager(const ServiceManager&) = delete;
  ServiceManager& operator=(const ServiceManager&) = delete;

  void Ready(const std::string& status) const { Send("READY=1\nSTATUS=" + status); }
  void Reloading() const;
  void Stopping() const { Send("STOPPING=1"); }
  void Alive() const { Send("WATCHDOG=1"); }

  /// How often Alive must be called; nothing when it need not be.
  std::optional<std::chrono::microseconds> WatchdogInterval() const { return interval; }

 private:
  void Send(const std::string& message) const;

  int socket = -1;
  std::string address;
  std::optional<std::chrono::microseconds> interval;
};

}  // namespace corvalux::gateway
