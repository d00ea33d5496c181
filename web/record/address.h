#pragma once

#include <string>

namespace web {

/// The network that an IP address is recorded as: its /24, or its /48 for IPv6, as in
/// "192.0.2.0/24".  Empty for any other text.
std::string NetworkOf(const std::string& address);

}  // namespace web
