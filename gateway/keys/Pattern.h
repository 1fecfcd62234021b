#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace corvalux::gateway {

/// Matches keys: `*` stands for any characters within a segment, `**` also across `/`, everything else for itself.
/// Cost: one step for each character of the key, whatever the pattern is; no pattern can make it slow.
class Pattern {
 public:
  static constexpr std::size_t longest = 255;  ///< bytes

  /// Throws std::invalid_argument with a sentence: for an empty pattern, a longer one, and one with control characters.
  explicit Pattern(std::string text);

  bool Matches(std::string_view key) const;
  /// Without `*`: it matches one key at most.
  bool IsKey() const { return stars.none(); }
  const std::string& Text() const { return text; }

 private:
  using States = std::bitset<longest + 1>;

  States& WhereStands(char letter);

  std::string text;
  std::size_t end = 0;                 ///< the state that matches
  States stars;                        ///< where a state may be skipped
  States across;                       ///< where `**` stands
  std::vector<States> places;          ///< of each letter that the pattern has; the first is of all others
  std::array<uint8_t, 256> placeOf{};  ///< of each byte, an index of `places`
};

}  // namespace corvalux::gateway
