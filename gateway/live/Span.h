#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "gateway/http/Reply.h"

namespace corvalux::gateway {

/// The greatest numbers of some keys.
class Greatest {
 public:
  /// A number, and which of the value's alternatives it was.
  struct Number {
    double number;
    uint8_t kind;
  };
  /// Keys of the numbers, in a frame's order; shared while they stay the same.
  using Keys = std::shared_ptr<const std::vector<std::string>>;

  /// A later frame's numbers. Keys that it lacks are forgotten. NaN loses.
  void Take(const Keys& keys, const std::vector<Number>& numbers);
  /// What another one has taken.
  void Take(const Greatest& other) { Take(other.keys, other.numbers); }
  const std::vector<Number>& Numbers() const { return numbers; }

 private:
  void Arrange(const Keys& next);

  Keys keys;
  std::vector<Number> numbers;
};

/// What a stream has newly since one of its messages, for all viewers that had that one last.
struct Span {
  explicit Span(uint64_t after) : after(after) {}

  uint64_t after;                  ///< the sequence of that message
  Greatest greatest;               ///< of the messages since then
  Octets entries;                  ///< made of all of them; null until they are needed
  std::shared_ptr<Span> replaced;  ///< by this one, which begins earlier; null while it is in use
};

}  // namespace corvalux::gateway
