#include "link_url/url.h"

#include <strings.h>

#include <algorithm>
#include <optional>
#include <sstream>

#include "base/number.h"
#include "base/percent.h"

namespace link_url {

namespace {

using VEXO::base::PercentEncode;

/// Drops the empty segments of an escaped path.  Nothing for a "." or ".." segment.
std::optional<std::string> JoinSegments(const std::string& path) {
  std::istringstream segments(path);
  std::string joined;
  for (std::string segment; std::getline(segments, segment, '/');) {
    if (IsDotSegment(segment)) return std::nullopt;
    if (!segment.empty()) joined += "/" + segment;
  }
  return joined;
}

/// Normalizes the path of a URL: unreserved characters unescaped, escapes in upper case,
/// bytes outside ASCII escaped.  Nothing for any other character, and for a "." or ".."
/// segment.
std::optional<std::string> NormalizePath(const std::string& text) {
  std::string path;
  for (size_t i = 0; i < text.size(); ++i) {
    const std::optional<char> byte = VEXO::base::PercentDecodeAt(text, i);
    const std::string character(1, byte.value_or(text[i]));
    const std::string encoded = PercentEncode(character, byte ? "" : "/!$&'()*+,;=:@");
    if (!byte && encoded != character && IsAscii(text[i])) return std::nullopt;
    path += encoded;
    if (byte) i += 2;
  }
  return JoinSegments(path);
}

}  // namespace

std::string ReadPlainPath(const std::string& text, std::string& out) {
  const std::optional<std::string> path = JoinSegments(PercentEncode(text, "/"));
  if (!path) return "the path must not contain a \".\" or \"..\" segment";
  out = *path;
  return "";
}

std::string ReadBase(const std::string& text, Address& out) {
  Address address;
  address.https = strncasecmp(text.c_str(), "https://", 8) == 0;
  if (!address.https && strncasecmp(text.c_str(), "http://", 7) != 0) {
    return "the URL must begin with http:// or https://";
  }
  const size_t begin = text.find("//") + 2;
  const size_t end = std::min(text.find_first_of("/?", begin), text.size());
  const std::string authority = text.substr(begin, end - begin);
  const size_t bracket = authority.rfind(']');
  const size_t colon = authority.find(':', bracket == std::string::npos ? 0 : bracket);
  std::string reason = ReadHost(authority.substr(0, colon), address.host);
  if (!reason.empty()) return reason;
  // An empty port is the default port.
  if (colon != std::string::npos && colon + 1 < authority.size()) {
    const auto port =
        VEXO::base::ParseNumber(authority.substr(colon + 1), 1, kLargestPort);
    if (!port) return "the port must be a number from 1 to 65535";
    address.port = *port;
  }
  const std::optional<std::string> path = NormalizePath(text.substr(end));
  if (!path) {
    return "the path has an unescaped character, a query, or a \".\" or \"..\" segment";
  }
  address.path = *path;
  out = address;
  return "";
}

std::string MakeOrigin(const Address& address) {
  std::string origin = (address.https ? "https://" : "http://") + address.host;
  const int usual_port = address.https ? 443 : 80;
  if (address.port != kDefaultPort && address.port != usual_port) {
    origin += ":" + std::to_string(address.port);
  }
  return origin;
}

std::string MakeUrl(const Address& address, const std::string& hash) {
  return MakeOrigin(address) + address.path + kLinkFolder + PercentEncode(hash);
}

}  // namespace link_url
