#include "web/record/address.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>

namespace web {
namespace {

/// The network of an address of this family, of which `kept` of `size` bytes remain.
/// Empty when the text is no such address.
std::string NetworkOfFamily(const std::string& address, int family, size_t size,
                            size_t kept) {
  std::array<unsigned char, sizeof(in6_addr)> bytes = {};
  std::array<char, INET6_ADDRSTRLEN> text = {};
  if (inet_pton(family, address.c_str(), bytes.data()) != 1) return "";
  std::fill(bytes.begin() + kept, bytes.begin() + size, 0);
  inet_ntop(family, bytes.data(), text.data(), text.size());
  return text.data() + ("/" + std::to_string(kept * 8));
}

}  // namespace

std::string NetworkOf(const std::string& address) {
  const std::string network = NetworkOfFamily(address, AF_INET, sizeof(in_addr), 3);
  return network.empty() ? NetworkOfFamily(address, AF_INET6, sizeof(in6_addr), 6)
                         : network;
}

}  // namespace web
