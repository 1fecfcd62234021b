#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "gateway/http/Unsent.h"

namespace corvalux::gateway {

/// The octets that wait for all clients, and for those of each address: one address has a quarter of the room at most,
/// so that others are served whatever its clients do.
/// Threads: the loop's.
class UnsentShares {
 public:
  explicit UnsentShares(std::size_t limit) : limit(limit) {}

  void Add(const Octets& piece, const std::string& address) {
    const Unsent::Hold known(all, piece);
    shares[address].Add(piece);
    all.Add(piece);  // a known piece takes no memory, so this one cannot fail
  }
  void Remove(const Octets& piece, const std::string& address) {
    all.Remove(piece);
    const auto its = shares.find(address);
    its->second.Remove(piece);
    if (its->second.Bytes() == 0) shares.erase(its);
  }

  /// Whether one more piece may wait for this address.
  bool HasRoom(const std::string& address) const {
    const auto its = shares.find(address);
    return all.Bytes() < limit && (its == shares.end() || its->second.Bytes() < limit / 4);
  }
  /// The same for a piece that may be known, and may be large; the first of an address may be larger than its share.
  bool HasRoomFor(const Octets& piece, const std::string& address) const {
    const auto its = shares.find(address);
    return all.BytesWith(piece) <= limit && (its == shares.end() || its->second.BytesWith(piece) <= limit / 4);
  }

 private:
  const std::size_t limit;
  Unsent all;
  std::map<std::string, Unsent> shares;  ///< by address
};

}  // namespace corvalux::gateway
