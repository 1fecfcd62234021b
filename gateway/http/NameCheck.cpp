#include "gateway/http/NameCheck.h"

#include <algorithm>
#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

namespace corvalux::gateway {

namespace {

namespace urls = boost::urls;

/// The port, or the one that the scheme has by itself.
std::string portOf(std::string_view port, std::string_view scheme) {
  return std::string(!port.empty() ? port : scheme == "https" ? "443" : "80");
}

boost::urls::result<urls::authority_view> parseHost(std::string_view host) {
  auto authority = urls::parse_authority(urls::string_view(host.data(), host.size()));
  const bool badPort = authority && !authority->port().empty() && authority->port_number() == 0;
  if (authority && (authority->has_userinfo() || authority->encoded_host().empty() || badPort)) {
    return urls::error::not_a_base;
  }
  return authority;
}

bool isAddress(const urls::authority_view& authority) {
  return authority.host_type() == urls::host_type::ipv4 || authority.host_type() == urls::host_type::ipv6;
}

}  // namespace

std::string lowered(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter; });
  return result;
}

std::optional<std::string> NameCheck::AgainstHost(std::string_view host) const {
  const auto authority = parseHost(host);
  if (!authority) return "the Host header is no host";
  if (isAddress(*authority)) return std::nullopt;
  const std::string name = lowered(std::string(authority->encoded_host()));
  if (name == "localhost" || hosts.contains(name)) return std::nullopt;
  return "unknown host; --allow-host adds a name";
}

std::optional<std::string> NameCheck::AgainstOrigin(std::string_view origin, std::string_view host) const {
  if (origins.contains(lowered(origin))) return std::nullopt;
  const auto from = urls::parse_uri(urls::string_view(origin.data(), origin.size()));
  const auto to = parseHost(host);
  constexpr const char* refusal = "a page of another origin; --allow-origin adds one";
  if (!from || !to || !from->has_authority()) return refusal;
  const std::string scheme = lowered(std::string(from->scheme()));
  if (scheme != "http" && scheme != "https") return refusal;
  const bool same = lowered(std::string(from->encoded_host())) == lowered(std::string(to->encoded_host())) &&
                    portOf(std::string(from->port()), scheme) == portOf(std::string(to->port()), scheme);
  return same ? std::nullopt : std::optional<std::string>(refusal);
}

}  // namespace corvalux::gateway
