#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace corvalux::gateway {

/// Which names a request may come under. A page of somebody else can make a browser send requests to this machine,
/// under a name of its own that leads here (DNS rebinding), or from its own origin; neither may read what the gateway
/// knows.
struct NameCheck {
  std::set<std::string> hosts;    ///< allowed beside addresses and localhost; lower case
  std::set<std::string> origins;  ///< allowed beside the request's own; as browsers write them, lower case

  /// Why a `Host` header is refused; nothing when it is fine.
  std::optional<std::string> AgainstHost(std::string_view host) const;
  /// Why an `Origin` header is refused; it must name the host and port of `host`, or be allowed.
  std::optional<std::string> AgainstOrigin(std::string_view origin, std::string_view host) const;
};

/// `text` in lower case; only ASCII letters have one.
std::string lowered(std::string_view text);

}  // namespace corvalux::gateway
