#pragma once

#include <boost/asio/ip/address.hpp>

namespace corvalux::gateway {

/// An IPv4 client of a socket for both families shows as an IPv6 address: its own one, by which it is known elsewhere.
inline boost::asio::ip::address plainAddress(const boost::asio::ip::address& address) {
  namespace ip = boost::asio::ip;
  if (!address.is_v6() || !address.to_v6().is_v4_mapped()) return address;
  return ip::make_address_v4(ip::v4_mapped, address.to_v6());
}

}  // namespace corvalux::gateway
