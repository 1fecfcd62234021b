#include "client/Address.h"

#include <algorithm>
#include <vector>

namespace corvalux::client {

namespace {

constexpr const char* defaultPort = "50005";

}  // namespace

std::string withPort(const std::string& address) {
  const auto colons = std::count(address.begin(), address.end(), ':');
  if (address.starts_with('[')) return address.ends_with(']') ? address + ":" + defaultPort : address;
  if (colons == 0) return address + ":" + defaultPort;
  const std::string scheme = address.substr(0, address.find(':'));
  static const std::vector<std::string> schemes = {"unix", "unix-abstract", "vsock", "dns", "ipv4", "ipv6"};
  if (std::find(schemes.begin(), schemes.end(), scheme) != schemes.end() || colons == 1) return address;
  return "[" + address + "]:" + defaultPort;
}

}  // namespace corvalux::client
