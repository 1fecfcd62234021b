#include "gateway/keys/Patterns.h"

#include <algorithm>

namespace corvalux::gateway {

Patterns::Patterns(std::vector<std::string> texts) {
  std::sort(texts.begin(), texts.end());
  texts.erase(std::unique(texts.begin(), texts.end()), texts.end());
  for (std::string& text : texts) {
    name += text + '\n';  // no pattern contains one
    patterns.emplace_back(std::move(text));
  }
}

bool Patterns::Match(std::string_view key) const {
  return patterns.empty() ||
         std::any_of(patterns.begin(), patterns.end(), [key](const Pattern& pattern) { return pattern.Matches(key); });
}

}  // namespace corvalux::gateway
