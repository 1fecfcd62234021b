#include "gateway/settings/Names.h"

#include <boost/asio/ip/address.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>
#include <stdexcept>

#include "gateway/http/NameCheck.h"
#include "gateway/http/PlainAddress.h"

namespace corvalux::gateway {

namespace urls = boost::urls;

std::string hostName(const std::string& text) {
  const auto host = urls::parse_authority(text);
  if (!host || host->has_userinfo() || host->has_port() || host->encoded_host().empty()) {
    throw std::invalid_argument("--allow-host takes a name without a port, not '" + text + "'");
  }
  return lowered(text);
}

std::string originName(const std::string& text) {
  const auto origin = urls::parse_uri(text);
  if (!origin || !origin->has_authority() || origin->has_userinfo() || origin->encoded_host().empty() ||
      !origin->encoded_path().empty() || origin->has_query() || origin->has_fragment()) {
    throw std::invalid_argument("--allow-origin takes SCHEME://HOST[:PORT], not '" + text + "'");
  }
  return lowered(text);
}

std::string proxyName(const std::string& text) {
  if (text == "unix") return text;
  boost::system::error_code error;
  const auto address = boost::asio::ip::make_address(text, error);
  if (error) throw std::invalid_argument("--trusted-proxy takes an address or unix, not '" + text + "'");
  return plainAddress(address).to_string();
}

}  // namespace corvalux::gateway
