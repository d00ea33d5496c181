#include <arpa/inet.h>
#include <utf8cpp/utf8.h>

#include <cctype>
#include <regex>

#include "base/percent.h"
#include "link_url/url.h"

namespace link_url {

namespace {

// A name whose last label is a decimal or hexadecimal number.  Browsers parse it as an
// IPv4 address, never as a name.
const char kEndsInNumber[] = R"((.*\.)?(0x[0-9a-f]*|\d+)\.?)";

// Hosts that only the local network knows, as ReadHost returns them.
const char kLocalHost[] =
    // loopback, link-local and private IPv4 addresses, also as IPv6 addresses
    R"((\[::ffff:)?(10|127|169\.254|172\.(1[6-9]|2\d|3[01])|192\.168)(\.\d+)+\]?)"
    R"(|\[(::1|fe[89ab].:.*|f[cd]..:.*)\])"  // the same for IPv6
    R"(|[^.[]+\.?)"                          // a name without a dot
    R"(|.*\.(local|home\.arpa)\.?)";

std::string ReadIPv6Host(const std::string& text, std::string& out) {
  // A zone id names an interface of this machine only.
  if (text.find('%') != std::string::npos) {
    return "an IPv6 address in a URL must not have a zone id";
  }
  in6_addr address = {};
  char buffer[INET6_ADDRSTRLEN];
  if (inet_pton(AF_INET6, text.c_str(), &address) != 1 ||
      inet_ntop(AF_INET6, &address, buffer, sizeof(buffer)) == nullptr) {
    return "invalid IPv6 address, or a port where none is allowed";
  }
  out = std::string("[") + buffer + "]";
  return "";
}

std::string ReadName(const std::string& text, std::string& out) {
  if (text.size() > 255) return "the host name is longer than 255 bytes";
  if (!utf8::is_valid(text)) return "the host name is not valid UTF-8";
  if (text.front() == '.' || text.find("..") != std::string::npos) {
    return "the host name has an empty label";
  }
  std::string name;
  for (const char c : text) {
    if (IsAscii(c) && !VEXO::base::IsUnreserved(c)) {
      return "the host name contains a character other than letters, digits and - . _ ~";
    }
    name += static_cast<char>(tolower(static_cast<unsigned char>(c)));
  }
  in_addr address = {};
  if (std::regex_match(name, std::regex(kEndsInNumber)) &&
      inet_pton(AF_INET, name.c_str(), &address) != 1) {
    return "a host whose last label is a number must be an IPv4 address";
  }
  out = VEXO::base::PercentEncode(name);
  return "";
}

}  // namespace

std::string ReadHost(const std::string& text, std::string& out) {
  if (text.empty()) return "the host is empty";
  if (text.front() == '[') {
    return text.back() == ']'
               ? ReadIPv6Host(text.substr(1, text.size() - 2), out)
               : "missing ] at the end of the host, or a port where none is allowed";
  }
  return text.find(':') == std::string::npos ? ReadName(text, out)
                                             : ReadIPv6Host(text, out);
}

bool IsLocalHost(const std::string& host) {
  return std::regex_match(host, std::regex(kLocalHost));
}

}  // namespace link_url
