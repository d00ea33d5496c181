#include "url.h"

#include <strings.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "base/number.h"
#include "base/percent.h"
#include "host.h"

namespace url_tool {

namespace {

using VEXO::base::ParseNumber;
using VEXO::base::PercentDecodeAt;
using VEXO::base::PercentEncode;

constexpr int kHttpPort = 80;
constexpr int kHttpsPort = 443;

const char kLinkFolder[] = "/sharing/";

// What a segment of a path may hold besides unreserved characters.
constexpr std::string_view kPlainInPath = "!$&'()*+,;=:@";

/// Calls `use` for each segment of the path that is not empty, until it returns false.
template <class Use>
bool ForEachSegment(const std::string& path, Use use) {
  for (size_t begin = 0; begin <= path.size();) {
    const size_t end = std::min(path.find('/', begin), path.size());
    if (end > begin && !use(path.substr(begin, end - begin))) return false;
    begin = end + 1;
  }
  return true;
}

/// Normalizes a segment of a URL: unreserved characters unescaped, escapes in upper case,
/// bytes outside ASCII escaped.  False for any other character, and for a dot segment.
bool ReadEscapedSegment(const std::string& segment, std::string& out) {
  std::string result;
  for (size_t i = 0; i < segment.size(); ++i) {
    const std::string_view character(&segment[i], 1);
    if (character == "%") {
      const std::optional<char> byte = PercentDecodeAt(segment, i);
      if (!byte) return false;
      result += PercentEncode({&*byte, 1});
      i += 2;
      continue;
    }
    const std::string encoded = PercentEncode(character, kPlainInPath);
    if (encoded != character && IsAscii(segment[i])) return false;
    result += encoded;
  }
  out = result;
  return !IsDotSegment(result);
}

bool ReadEscapedPath(const std::string& text, std::string& out) {
  std::string path;
  const bool good = ForEachSegment(text, [&path](const std::string& segment) {
    std::string read;
    if (!ReadEscapedSegment(segment, read)) return false;
    path += "/" + read;
    return true;
  });
  if (good) out = path;
  return good;
}

bool ReadScheme(const std::string& text, bool& https, size_t& length) {
  const size_t end = text.find("://");
  if (end == std::string::npos) return false;
  const std::string scheme = text.substr(0, end);
  https = strcasecmp(scheme.c_str(), "https") == 0;
  length = end + 3;
  return https || strcasecmp(scheme.c_str(), "http") == 0;
}

/// Parses "HOST[:PORT]", with an IPv6 address in brackets.
bool ReadAuthority(const std::string& text, Address& address, std::string& reason) {
  const size_t bracket = text.rfind(']');
  const size_t colon = text.find(':', bracket == std::string::npos ? 0 : bracket);
  if (!ReadHost(text.substr(0, colon), address.host, reason)) return false;
  if (colon == std::string::npos || colon + 1 == text.size()) {
    return true;  // an empty port is the default port
  }
  const std::optional<int> port = ParseNumber(text.substr(colon + 1), 1, kLargestPort);
  if (!port) {
    reason = "the port must be a number from 1 to 65535";
    return false;
  }
  address.port = *port;
  return true;
}

}  // namespace

bool IsAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

bool IsDotSegment(const std::string& segment) {
  return segment == "." || segment == "..";
}

bool ReadPlainPath(const std::string& text, std::string& out, std::string& reason) {
  std::string path;
  const bool good = ForEachSegment(text, [&path](const std::string& segment) {
    path += "/" + PercentEncode(segment);
    return !IsDotSegment(segment);
  });
  if (!good) {
    reason = "the path must not contain a \".\" or \"..\" segment";
    return false;
  }
  out = path;
  return true;
}

bool ReadBase(const std::string& text, Address& out, std::string& reason) {
  Address address;
  size_t host_begin = 0;
  if (!ReadScheme(text, address.https, host_begin)) {
    reason = "the URL must begin with http:// or https://";
    return false;
  }
  const size_t host_end = std::min(text.find_first_of("/?", host_begin), text.size());
  if (!ReadAuthority(text.substr(host_begin, host_end - host_begin), address, reason)) {
    return false;
  }
  if (!ReadEscapedPath(text.substr(host_end), address.path)) {
    reason = "the path has an unescaped character, a query, or a \".\" or \"..\" segment";
    return false;
  }
  out = address;
  return true;
}

std::string MakeUrl(const Address& address, const std::string& hash) {
  std::string url = (address.https ? "https://" : "http://") + address.host;
  if (address.port != kDefaultPort &&
      address.port != (address.https ? kHttpsPort : kHttpPort)) {
    url += ":" + std::to_string(address.port);
  }
  return url + address.path + kLinkFolder + PercentEncode(hash);
}

}  // namespace url_tool
