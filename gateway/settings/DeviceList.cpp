#include "gateway/settings/DeviceList.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <utility>

#include "client/Address.h"

namespace corvalux::gateway {

namespace {

constexpr std::size_t longestName = 64;

bool mayBeInName(char letter) {
  return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') || (letter >= '0' && letter <= '9') ||
         letter == '_' || letter == '-';
}

/// An address may contain `=` too, but only behind what no name has.
DeviceAddress parse(const std::string& text) {
  const auto equals = text.find('=');
  const bool named = equals != std::string::npos && text.find_first_of(":/[") > equals;
  const std::string name = named ? text.substr(0, equals) : "";
  const std::string address = named ? text.substr(equals + 1) : text;
  if (named && !isName(name)) {
    throw std::invalid_argument("a device's name has 1 to 64 letters, digits, _ or -, not '" + name + "'");
  }
  if (address.empty()) throw std::invalid_argument("'" + text + "' has no address");
  return {name, client::withPort(address)};
}

std::string freeName(const std::string& wanted, const std::set<std::string>& names) {
  std::string name = wanted;
  for (int number = 2; names.contains(name); ++number) {
    const std::string suffix = "-" + std::to_string(number);
    name = wanted.substr(0, longestName - suffix.size()) + suffix;
  }
  return name;
}

}  // namespace

bool isName(std::string_view text) {
  return !text.empty() && text.size() <= longestName && std::all_of(text.begin(), text.end(), mayBeInName);
}

std::string nameFrom(const std::string& text) {
  std::string name = text.empty() ? "-" : text;
  std::replace_if(
      name.begin(), name.end(), [](char letter) { return !mayBeInName(letter); }, '-');
  const auto begin = std::min(name.find_first_not_of('-'), name.size() - 1);
  return name.substr(begin, longestName);
}

std::vector<DeviceAddress> deviceList(const std::vector<std::string>& texts) {
  std::vector<DeviceAddress> devices;
  std::set<std::string> names;
  for (const std::string& text : texts) {
    devices.push_back(parse(text));
    const std::string& name = devices.back().name;
    if (!name.empty() && !names.insert(name).second) {
      throw std::invalid_argument("two devices have the name '" + name + "'");
    }
  }
  for (DeviceAddress& device : devices) {
    if (device.name.empty()) names.insert(device.name = freeName(nameFrom(device.address), names));
  }
  return devices;
}

}  // namespace corvalux::gateway
