#pragma once

#include <algorithm>
#include <array>

namespace VEXO::base {

/// An IPv6 address, in network byte order.
using IPv6Address = std::array<unsigned char, 16>;

/// The first address of the /64 of an address.  One host can use a whole /64, so failed
/// logins are counted for all of it.
inline IPv6Address FirstOfNetwork(IPv6Address address) {
  std::fill(address.begin() + 8, address.end(), 0);
  return address;
}

}  // namespace VEXO::base
