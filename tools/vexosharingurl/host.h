#pragma once

#include <string>

namespace url_tool {

/// Parses the host of a URL: an IPv4 address, an IPv6 address with or without brackets,
/// or a name.  `out` is the host in the form used in a URL: lower case, an IPv6 address
/// in brackets and in its short form, characters outside ASCII percent-encoded.  False,
/// with the reason, for anything else, including a zone id or a port.
bool ReadHost(const std::string& text, std::string& out, std::string& reason);

/// Whether a host, as ReadHost returns it, is known on the local network only: a
/// loopback, link-local or private address, a name without a dot, or a name that ends in
/// ".local" or
/// ".home.arpa".
bool IsLocalHost(const std::string& host);

}  // namespace url_tool
