// Lines: a request's target, its Host, its Origin, then devices as on the command line. Whatever they are, only names
// that lead to this machine are taken, and only devices with names of their own.
#include <algorithm>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz/Check.h"
#include "gateway/http/NameCheck.h"
#include "gateway/http/Request.h"
#include "gateway/settings/DeviceList.h"

namespace {

namespace gateway = corvalux::gateway;

void checkTarget(const std::string& target) {
  const auto request = gateway::parseTarget(target);
  if (!request) return;
  FUZZ_CHECK(target.starts_with('/'));
  std::size_t bytes = request->path.size();
  for (const auto& [name, value] : request->parameters) bytes += name.size() + value.size();
  for (const auto& segment : request->path) bytes += segment.size();
  FUZZ_CHECK(bytes <= target.size());  // decoded, none is longer
}

/// localhost, or an address in digits.
bool isOwn(const std::string& host) {
  if (host.starts_with('[')) return host.find_first_not_of("0123456789abcdef:.", 1) == host.find(']', 1);
  const std::string name = host.substr(0, host.find(':'));
  return name == "localhost" || name.find_first_not_of("0123456789.") == std::string::npos;
}

void checkNames(const std::string& host, const std::string& origin) {
  const gateway::NameCheck names;
  FUZZ_CHECK(names.AgainstOrigin("null", host));
  if (names.AgainstHost(host)) return;
  FUZZ_CHECK(isOwn(gateway::lowered(host)));
  FUZZ_CHECK(!names.AgainstOrigin("http://" + host, host));
  if (names.AgainstOrigin(origin, host)) return;
  const std::string page = gateway::lowered(origin);
  FUZZ_CHECK(page.starts_with("http://") || page.starts_with("https://"));
  const std::string name = gateway::lowered(host);
  FUZZ_CHECK(page.find(name.substr(0, name.starts_with('[') ? name.find(']') : name.find(':'))) != std::string::npos);
}

bool mayBeName(const std::string& name) {
  constexpr const char* letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
  return !name.empty() && name.size() <= 64 && name.find_first_not_of(letters) == std::string::npos;
}

void checkDevices(const std::vector<std::string>& texts) {
  try {
    std::set<std::string> names;
    for (const auto& device : gateway::deviceList(texts)) {
      FUZZ_CHECK(mayBeName(device.name));
      FUZZ_CHECK(!device.address.empty());
      names.insert(device.name);
    }
    FUZZ_CHECK(names.size() == texts.size());
  } catch (const std::invalid_argument&) {  // NOLINT(bugprone-empty-catch): a sentence for the operator
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  std::istringstream input(std::string(reinterpret_cast<const char*>(data), size));
  std::string target;
  std::string host;
  std::string origin;
  std::getline(input, target);
  std::getline(input, host);
  std::getline(input, origin);
  checkTarget(target);
  checkNames(host, origin);
  std::vector<std::string> devices;
  for (std::string line; std::getline(input, line);) devices.push_back(line);
  checkDevices(devices);
  return 0;
}
