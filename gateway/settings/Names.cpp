#include "gateway/settings/Names.h"

#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/host_name.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/url.hpp>
#include <boost/url/url_view.hpp>
#include <fstream>
#include <stdexcept>

#include "gateway/http/NameCheck.h"
#include "gateway/http/PlainAddress.h"
#include "gateway/settings/DeviceList.h"

namespace corvalux::gateway {

namespace urls = boost::urls;

namespace {

std::string firstLineOf(const std::string& file) {
  std::ifstream stream(file);
  std::string line;
  if (!std::getline(stream, line) || line.empty())
    throw std::invalid_argument("there is no password in '" + file + "'");
  return line;
}

}  // namespace

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

std::string natsUrl(const std::string& text, const std::string& passwordFile) {
  const auto url = urls::parse_uri(text);
  if (!url || url->scheme() != "nats" || url->encoded_host().empty() || url->encoded_path().size() > 1) {
    throw std::invalid_argument("--nats takes nats://[USER:PASSWORD@]HOST[:PORT]");
  }
  if (passwordFile.empty()) return text;
  if (url->user().empty()) throw std::invalid_argument("--nats-password-file needs --nats nats://USER@HOST[:PORT]");
  urls::url whole(*url);
  whole.set_password(firstLineOf(passwordFile));
  return std::string(whole.buffer());
}

std::string fleetName(const std::string& text) {
  boost::system::error_code error;
  std::string name = text.empty() ? nameFrom(boost::asio::ip::host_name(error)) : text;
  if (!isName(name)) throw std::invalid_argument("--name takes 1 to 64 letters, digits, _ or -, not '" + text + "'");
  return name;
}

}  // namespace corvalux::gateway
