#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "gateway/keys/Pattern.h"

namespace corvalux::gateway {

/// A choice of keys: those that any of the patterns matches; all keys without a pattern.
class Patterns {
 public:
  Patterns() = default;
  /// Throws std::invalid_argument as Pattern does.
  explicit Patterns(std::vector<std::string> texts);

  bool Match(std::string_view key) const;
  /// Equal for choices with the same patterns, in whatever order they were given.
  const std::string& Name() const { return name; }
  const std::vector<Pattern>& All() const { return patterns; }

 private:
  std::vector<Pattern> patterns;
  std::string name;
};

}  // namespace corvalux::gateway
