#pragma once

#include <string_view>

namespace corvalux::client {

/// The last part of a key: "peak" of "input/1/peak".
std::string_view lastPart(std::string_view key);
/// The part before it: "input/1"; empty for a key without parts.
std::string_view prefixOf(std::string_view key);

}  // namespace corvalux::client
