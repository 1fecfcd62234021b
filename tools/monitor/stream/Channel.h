#pragma once

#include <grpcpp/channel.h>

#include <memory>
#include <string>

namespace monitor {

/// A channel with a connection of its own, which begins to connect when it is first used or asked for its state.
std::shared_ptr<::grpc::Channel> makeChannel(const std::string& address);

/// What the library says about a channel that has just failed to connect. Waits for it, but not long.
std::string whyNotConnected(const std::shared_ptr<::grpc::Channel>& channel);

}  // namespace monitor
