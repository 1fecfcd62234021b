#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "client/Stream.h"

namespace corvalux::gateway {

/// What is said of a device on its subjects.
enum class Topic { fast, slow, changes, state, picture };

struct Subject {
  std::string device;
  Topic topic = Topic::state;
};

/// Of all devices.
inline constexpr const char* allSubjects = "corvalux.v1.*.*";

std::string subjectOf(std::string_view device, Topic topic);
constexpr Topic topicOf(client::Stream stream) { return static_cast<Topic>(client::indexOf(stream)); }
/// Nothing for a topic without a stream.
std::optional<client::Stream> streamOf(Topic topic);

/// Nothing for a subject that is none of the fleet's.
/// Threads: any.
std::optional<Subject> subjectIn(std::string_view text);

}  // namespace corvalux::gateway
