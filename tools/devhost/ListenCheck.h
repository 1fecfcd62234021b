#pragma once

#include <string>
#include <vector>

namespace corvalux::devhost {

/// Those of the TCP addresses in a list separated by spaces ("host:port", "[::1]:port") on which something listens
/// already. A gRPC server starts there all the same if the other one is a gRPC server too: the kernel then deals the
/// clients out between the two. Skips anything that is not an address, and a name that does not resolve.
std::vector<std::string> takenAddresses(const std::string& serverUrl);

}  // namespace corvalux::devhost
