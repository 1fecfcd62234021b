#pragma once

#include <string>
#include <vector>

namespace corvalux::devhost {

/// The TCP addresses of a list separated by spaces ("host:port", "[::1]:port") that are already in use. A gRPC server
/// starts there nevertheless if the other one is a gRPC server too: the kernel then distributes the clients between the
/// two. Skips anything that is not an address, and names that do not resolve.
std::vector<std::string> takenAddresses(const std::string& serverUrl);

}  // namespace corvalux::devhost
