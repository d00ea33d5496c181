#pragma once

#include <string>

namespace url_tool {

constexpr int kDefaultPort = 0;
constexpr int kLargestPort = 65535;

/// The part of a link's URL before "/sharing/HASH".
struct Address {
  bool https = false;
  std::string host;         // as ReadHost returns it
  int port = kDefaultPort;  // kDefaultPort: that of the scheme
  std::string path;         // escaped; empty, or "/" and segments, without "/" at its end
};

bool IsAscii(char c);

/// Escapes a path given as plain text, such as "apps/photo album"; empty segments are
/// dropped.  False, with the reason, for a "." or ".." segment, which a browser removes.
bool ReadPlainPath(const std::string& text, std::string& out, std::string& reason);

/// Parses the URL "http(s)://HOST[:PORT][/PATH]", whose path is already escaped.
bool ReadBase(const std::string& text, Address& out, std::string& reason);

/// The URL of a link.  The hash is escaped; the default port of the scheme is omitted.
std::string MakeUrl(const Address& address, const std::string& hash);

/// Whether a whole segment is "." or "..".
bool IsDotSegment(const std::string& segment);

}  // namespace url_tool
