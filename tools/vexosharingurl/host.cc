#include "host.h"

#include <arpa/inet.h>
#include <utf8cpp/utf8.h>

#include <cctype>
#include <cstdint>
#include <cstring>

#include "base/percent.h"
#include "url.h"

namespace url_tool {

namespace {

// The longest host name that every resolver accepts.
constexpr size_t kLongestName = 255;

bool ReadIPv6(const std::string& text, in6_addr& address) {
  return inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

bool ReadIPv4(const std::string& text, in_addr& address) {
  return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool ReadIPv6Host(const std::string& text, std::string& out, std::string& reason) {
  if (text.find('%') != std::string::npos) {
    // A zone id names an interface of this machine only.
    reason = "an IPv6 address in a URL must not have a zone id";
    return false;
  }
  in6_addr address = {};
  char buffer[INET6_ADDRSTRLEN];
  if (!ReadIPv6(text, address) ||
      inet_ntop(AF_INET6, &address, buffer, sizeof(buffer)) == nullptr) {
    reason = "invalid IPv6 address, or a port where none is allowed";
    return false;
  }
  out = std::string("[") + buffer + "]";
  return true;
}

/// The name without its trailing dot, if any.
std::string WithoutLastDot(const std::string& name) {
  return name.back() == '.' ? name.substr(0, name.size() - 1) : name;
}

/// Whether the last label is a decimal or hexadecimal number.  Browsers parse such a host
/// as an IPv4 address, never as a name.
bool EndsInNumber(const std::string& name) {
  const std::string plain = WithoutLastDot(name);
  const std::string last = plain.substr(plain.rfind('.') + 1);
  return last.rfind("0x", 0) == 0
             ? last.find_first_not_of("0123456789abcdef", 2) == std::string::npos
             : last.find_first_not_of("0123456789") == std::string::npos;
}

bool ReadName(const std::string& text, std::string& out, std::string& reason) {
  if (text.size() > kLongestName) {
    reason = "the host name is longer than 255 bytes";
    return false;
  }
  if (!utf8::is_valid(text)) {
    reason = "the host name is not valid UTF-8";
    return false;
  }
  if (text.front() == '.' || text.find("..") != std::string::npos) {
    reason = "the host name has an empty label";
    return false;
  }
  std::string name;
  for (const char c : text) {
    if (IsAscii(c) && !VEXO::base::IsUnreserved(c)) {
      reason =
          "the host name contains a character other than letters, digits and - . _ ~";
      return false;
    }
    name += static_cast<char>(tolower(static_cast<unsigned char>(c)));
  }
  in_addr address = {};
  if (EndsInNumber(name) && !ReadIPv4(name, address)) {
    reason = "a host whose last label is a number must be an IPv4 address";
    return false;
  }
  out = VEXO::base::PercentEncode(name);
  return true;
}

bool IsLocalIPv4(const in_addr& address) {
  const std::uint32_t bits = ntohl(address.s_addr);
  return bits >> 24 == 10 || bits >> 24 == 127 || bits >> 20 == 0xac1 ||
         bits >> 16 == 0xc0a8 || bits >> 16 == 0xa9fe;
}

bool IsLocalIPv6(const in6_addr& address) {
  if (IN6_IS_ADDR_V4MAPPED(&address)) {
    in_addr mapped = {};
    memcpy(&mapped, &address.s6_addr[12], sizeof(mapped));
    return IsLocalIPv4(mapped);
  }
  const bool unique_local = (address.s6_addr[0] & 0xfe) == 0xfc;
  return unique_local || IN6_IS_ADDR_LOOPBACK(&address) ||
         IN6_IS_ADDR_LINKLOCAL(&address);
}

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() &&
         text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

bool ReadHost(const std::string& text, std::string& out, std::string& reason) {
  if (text.empty()) {
    reason = "the host is empty";
    return false;
  }
  if (text.front() == '[') {
    if (text.back() != ']') {
      reason = "missing ] at the end of the host, or a port where none is allowed";
      return false;
    }
    return ReadIPv6Host(text.substr(1, text.size() - 2), out, reason);
  }
  if (text.find(':') != std::string::npos) return ReadIPv6Host(text, out, reason);
  return ReadName(text, out, reason);
}

bool IsLocalHost(const std::string& host) {
  in6_addr six = {};
  if (host.front() == '[') {
    return ReadIPv6(host.substr(1, host.size() - 2), six) && IsLocalIPv6(six);
  }
  in_addr four = {};
  if (ReadIPv4(host, four)) return IsLocalIPv4(four);
  const std::string name = WithoutLastDot(host);
  return name.find('.') == std::string::npos || EndsWith(name, ".local") ||
         EndsWith(name, ".home.arpa");
}

}  // namespace url_tool
