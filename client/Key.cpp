#include "client/Key.h"

namespace corvalux::client {

std::string_view lastPart(std::string_view key) { return key.substr(key.rfind('/') + 1); }

std::string_view prefixOf(std::string_view key) {
  const auto slash = key.rfind('/');
  return slash == std::string_view::npos ? std::string_view() : key.substr(0, slash);
}

}  // namespace corvalux::client
