#pragma once

#include <grpcpp/channel.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

namespace corvalux::client {

/// Detects a device that vanished without closing the connection. A device allows a ping every 5 s.
struct Keepalive {
  std::chrono::milliseconds interval{10'000};  ///< between pings
  std::chrono::milliseconds timeout{5'000};    ///< for the answer; without one the connection is lost
};

/// A channel with a connection of its own, which connects when it is first used. May be destroyed on any thread: the
/// first one keeps gRPC's threads running for the process's lifetime.
/// `messageBytes`: the largest message that is received; a larger one ends its call.
std::shared_ptr<::grpc::Channel> makeChannel(const std::string& address, const Keepalive& keepalive,
                                             std::size_t messageBytes);

}  // namespace corvalux::client
