#pragma once

#include <string>

namespace url_tool {

constexpr int kUsualPort = 0;

/// Where a link is reached: everything of its URL that stands before the link itself.
struct Address {
  bool https = false;
  std::string host;       // as ReadHost answers it
  int port = kUsualPort;  // kUsualPort: that of the scheme
  std::string path;       // escaped; empty, or "/" and segments, without "/" at its end
};

/// Whether RFC 3986 lets the character stand for itself everywhere.
bool IsUnreserved(char c);
/// The text with every byte percent-encoded that is not unreserved.
std::string Escape(const std::string& text);

/// Reads a whole decimal port number, 0 to 65535.
bool ReadPort(const std::string& text, int& out);

/// Reads a path that is plain text, such as "apps/photo album"; empty segments are left
/// out.  False for a "." or ".." segment, which a browser would take away.
bool ReadPlainPath(const std::string& text, std::string& out, std::string& reason);

/// Reads the URL "http(s)://HOST[:PORT][/PATH]", whose path is escaped already.
bool ReadBase(const std::string& text, Address& out, std::string& reason);

/// The URL of a link, the hash escaped.  The port is left out where it is the usual one.
std::string MakeUrl(const Address& address, const std::string& hash);

/// Whether a whole segment is "." or "..".
bool IsDotSegment(const std::string& segment);

}  // namespace url_tool
