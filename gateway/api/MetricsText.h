#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvalux::gateway {

/// Prometheus' text format. The lines of a family must follow its head.
class MetricsText {
 public:
  using Labels = std::vector<std::pair<const char*, std::string_view>>;

  void Head(const char* name, const char* type, const char* help);
  /// Of the family whose head came last.
  void Line(const Labels& labels, double number);

  std::size_t Bytes() const { return text.size(); }
  std::string Take() { return std::move(text); }

 private:
  std::string family;
  std::string text;
};

}  // namespace corvalux::gateway
