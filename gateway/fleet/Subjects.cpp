#include "gateway/fleet/Subjects.h"

#include <algorithm>
#include <array>

#include "gateway/settings/DeviceList.h"

namespace corvalux::gateway {

namespace {

constexpr std::string_view root = "corvalux.v1.";
constexpr std::array<std::string_view, 5> topics = {"fast", "slow", "changes", "state", "picture"};

}  // namespace

std::string subjectOf(std::string_view device, Topic topic) {
  std::string text(root);
  text += device;
  text += '.';
  text += topics.at(static_cast<std::size_t>(topic));
  return text;
}

std::optional<client::Stream> streamOf(Topic topic) {
  if (topic > Topic::changes) return std::nullopt;
  return static_cast<client::Stream>(topic);
}

std::optional<Subject> subjectIn(std::string_view text) {
  if (!text.starts_with(root)) return std::nullopt;
  text.remove_prefix(root.size());
  const auto dot = text.find('.');
  if (dot == std::string_view::npos || !isName(text.substr(0, dot))) return std::nullopt;
  const auto* const topic = std::find(topics.begin(), topics.end(), text.substr(dot + 1));
  if (topic == topics.end()) return std::nullopt;
  return Subject{std::string(text.substr(0, dot)), static_cast<Topic>(topic - topics.begin())};
}

}  // namespace corvalux::gateway
