#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvalux::gateway {

/// What is asked for.
struct Request {
  std::vector<std::string> path;                                ///< its segments, decoded; none for "/"
  std::vector<std::pair<std::string, std::string>> parameters;  ///< of the query, decoded, in their order
  bool webSocket = false;                                       ///< it asks for one
  std::string protocols;                                        ///< for it, as they were sent
  bool gzip = false;                                            ///< it accepts a compressed body
};

/// Of a request's target, such as "/api/devices/desk/values?keys=input/*". Nothing when it is not one.
std::optional<Request> parseTarget(std::string_view target);

}  // namespace corvalux::gateway
