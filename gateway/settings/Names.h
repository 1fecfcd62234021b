#pragma once

#include <string>

namespace corvalux::gateway {

/// Texts of options as the server compares them. Each throws std::invalid_argument with a sentence.

/// A host name without a port.
std::string hostName(const std::string& text);
/// As a browser writes it: SCHEME://HOST[:PORT].
std::string originName(const std::string& text);
/// An address, or "unix".
std::string proxyName(const std::string& text);

}  // namespace corvalux::gateway
