#pragma once

#include <string>

namespace url_tool {

/// Reads the host of a URL: an IPv4 address, an IPv6 address with or without brackets, or
/// a name.  `out` is the host as it stands in a URL: lower case, an IPv6 address
/// bracketed and in its short form, characters beyond ASCII percent-encoded.  False, with
/// the reason, for anything else, a zone id and a port among it.
bool ReadHost(const std::string& text, std::string& out, std::string& reason);

/// Whether only the local network knows a host that ReadHost answered: a loopback,
/// link-local or private address, a name without a dot, or one that ends in ".local" or
/// ".home.arpa".
bool IsLocalHost(const std::string& host);

}  // namespace url_tool
