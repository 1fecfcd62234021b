#pragma once

#include <cstddef>
#include <unordered_map>
#include <utility>

#include "gateway/http/Reply.h"

namespace corvalux::gateway {

/// The octets that wait for clients to take them, each piece once however many it is sent to.
/// Threads: the loop's.
class Unsent {
 public:
  void Add(const Octets& piece) {
    if (++holders[piece.get()] == 1) bytes += piece->size();
  }
  void Remove(const Octets& piece) {
    const auto held = holders.find(piece.get());
    if (--held->second > 0) return;
    bytes -= piece->size();
    holders.erase(held);
  }

  /// Counts a piece for its lifetime. May be empty.
  class Hold {
   public:
    Hold() = default;
    Hold(Unsent& unsent, Octets given) : unsent(&unsent), piece(std::move(given)) { unsent.Add(piece); }
    ~Hold() {
      if (piece) unsent->Remove(piece);
    }
    Hold(Hold&& other) noexcept : unsent(other.unsent), piece(std::exchange(other.piece, nullptr)) {}
    Hold& operator=(Hold&& other) noexcept {
      std::swap(unsent, other.unsent);
      std::swap(piece, other.piece);
      return *this;
    }
    std::size_t Bytes() const { return piece ? piece->size() : 0; }

   private:
    Unsent* unsent = nullptr;
    Octets piece;
  };

  std::size_t Bytes() const { return bytes; }
  std::size_t BytesWith(const Octets& piece) const {
    return bytes + (holders.contains(piece.get()) ? 0 : piece->size());
  }

 private:
  std::unordered_map<const std::string*, std::size_t> holders;
  std::size_t bytes = 0;
};

}  // namespace corvalux::gateway
