#include "gateway/live/Span.h"

#include <cmath>
#include <deque>
#include <limits>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace corvalux::gateway {

void Greatest::Take(const Keys& next, const std::vector<Number>& later) {
  if (!next) return;
  if (keys != next) Arrange(next);
  for (std::size_t i = 0; i < later.size(); ++i) {
    // Of equal ones the newest.
    if (later[i].number >= numbers[i].number || std::isnan(numbers[i].number)) numbers[i] = later[i];
  }
}

/// Keys that repeat are matched in their order.
void Greatest::Arrange(const Keys& next) {
  std::unordered_map<std::string_view, std::deque<Number>> known;
  for (std::size_t i = 0; i < numbers.size(); ++i) known[(*keys)[i]].push_back(numbers[i]);
  std::vector<Number> arranged(next->size(), {std::numeric_limits<double>::quiet_NaN(), 0});
  for (std::size_t i = 0; i < arranged.size(); ++i) {
    const auto found = known.find((*next)[i]);
    if (found == known.end() || found->second.empty()) continue;
    arranged[i] = found->second.front();
    found->second.pop_front();
  }
  numbers = std::move(arranged);
  keys = next;
}

}  // namespace corvalux::gateway
