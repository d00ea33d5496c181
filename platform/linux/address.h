#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/ipv6_network.h"

namespace VEXO::platform {

/// An IP address.  IPv4 is kept as IPv4-mapped IPv6, so both forms are the same address.
class Address {
 public:
  /// Returns nothing when the text is not an address.
  static std::optional<Address> Parse(const std::string& text);

  /// The canonical text; IPv4 in dotted form.
  std::string Text() const;

  /// The address under which failed logins are counted and blocked: itself for IPv4, the
  /// first address of its /64 for IPv6.
  Address BlockingKey() const;

  /// Whether the first `bits` bits (0 to 128) are those of `other`.
  bool SharesPrefix(const Address& other, int bits) const;

  bool IsIPv4() const;

 private:
  base::IPv6Address bytes_{};
};

/// An address or a CIDR network.
class Network {
 public:
  /// Returns nothing when the text is neither.
  static std::optional<Network> Parse(const std::string& text);

  bool Contains(const Address& address) const;

  /// Whether it contains every IPv4 address: 0.0.0.0/0, ::/0 and whatever lies between.
  bool ContainsAllOfIPv4() const;

 private:
  Address base_;
  int bits_ = 128;
};

/// The client of a request that came in from `remote`.  Each proxy appends to `forwarded`
/// (X-Forwarded-For, may be null) the address it was called from, some with a port:
/// "192.0.2.1:1234", "[2001:db8::1]:1234".  The list is read from its right end for as
/// long as the last address is that of a trusted proxy.  Empty items do not count (RFC
/// 9110, 5.6.1.2).  Where the list ends, or an item is not an address, that proxy itself
/// is the client; the first list of a trusted proxy without a usable address is logged.
Address ClientAddress(const Address& remote, const char* forwarded,
                      const std::vector<Network>& trusted_proxies);

}  // namespace VEXO::platform
