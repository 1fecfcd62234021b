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
/// Of a NATS server, without TLS; the password is the first line of the file, if there is one. Errors do not have it.
std::string natsUrl(const std::string& text, const std::string& passwordFile);
/// Of this gateway in its fleet; from the host's name if the text is empty.
std::string fleetName(const std::string& text);

}  // namespace corvalux::gateway
