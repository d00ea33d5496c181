#include "url.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <string_view>

#include "host.h"

namespace url_tool {

namespace {

constexpr int kHttpPort = 80;
constexpr int kHttpsPort = 443;
constexpr int kLargestPort = 65535;

const char kLinkFolder[] = "/sharing/";

const char kHexDigits[] = "0123456789ABCDEF";
const char kDigits[] = "0123456789";
const char kLettersAndDigits[] =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

bool IsOneOf(char c, std::string_view set) {
  return set.find(c) != std::string_view::npos;
}

int HexValue(char c) {
  const char text[] = {c};
  int value = -1;
  std::from_chars(text, text + 1, value, 16);
  return value;
}

/// Calls `use` for every segment of the path that is not empty, until it answers false.
template <class Use>
bool ForEachSegment(const std::string& path, Use use) {
  for (size_t begin = 0; begin <= path.size();) {
    const size_t end = std::min(path.find('/', begin), path.size());
    if (end > begin && !use(path.substr(begin, end - begin))) return false;
    begin = end + 1;
  }
  return true;
}

/// Checks a segment that stands in a URL and brings it to one spelling: unreserved
/// characters plain, escapes in upper case, bytes beyond ASCII escaped.
bool ReadEscapedSegment(const std::string& segment, std::string& out) {
  std::string result;
  for (size_t i = 0; i < segment.size(); ++i) {
    const char c = segment[i];
    if (c == '%') {
      const bool whole = i + 2 < segment.size();
      const int high = whole ? HexValue(segment[i + 1]) : -1;
      const int low = whole ? HexValue(segment[i + 2]) : -1;
      if (high < 0 || low < 0) return false;
      result += Escape(std::string(1, static_cast<char>(high * 16 + low)));
      i += 2;
    } else if (IsUnreserved(c) || IsOneOf(c, "!$&'()*+,;=:@")) {
      result += c;
    } else if (static_cast<unsigned char>(c) >= 0x80) {
      result += Escape(std::string(1, c));
    } else {
      return false;
    }
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

/// Splits "HOST[:PORT]"; in a URL the colons of an IPv6 address stand in brackets.
bool ReadAuthority(const std::string& text, Address& address, std::string& reason) {
  const size_t bracket = text.rfind(']');
  const size_t colon = text.find(':', bracket == std::string::npos ? 0 : bracket);
  if (!ReadHost(text.substr(0, colon), address.host, reason)) return false;
  if (colon == std::string::npos || colon + 1 == text.size()) {
    return true;  // an empty port is the default port
  }
  if (!ReadPort(text.substr(colon + 1), address.port) || address.port == kDefaultPort) {
    reason = "the port must be a number from 1 to 65535";
    return false;
  }
  return true;
}

}  // namespace

bool IsUnreserved(char c) { return IsOneOf(c, kLettersAndDigits) || IsOneOf(c, "-._~"); }

std::string Escape(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (IsUnreserved(c)) {
      escaped += c;
      continue;
    }
    const unsigned int byte = static_cast<unsigned char>(c);
    escaped += '%';
    escaped += kHexDigits[byte >> 4];
    escaped += kHexDigits[byte & 15];
  }
  return escaped;
}

bool ReadPort(const std::string& text, int& out) {
  int port = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, port);
  if (text.empty() || text.find_first_not_of(kDigits) != std::string::npos ||
      error != std::errc() || stop != end || port > kLargestPort) {
    return false;
  }
  out = port;
  return true;
}

bool IsDotSegment(const std::string& segment) {
  return segment == "." || segment == "..";
}

bool ReadPlainPath(const std::string& text, std::string& out, std::string& reason) {
  std::string path;
  const bool good = ForEachSegment(text, [&path](const std::string& segment) {
    path += "/" + Escape(segment);
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
  return url + address.path + kLinkFolder + Escape(hash);
}

}  // namespace url_tool
