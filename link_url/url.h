#pragma once

#include <string>

// The parts of a link's URL.  A function named Read returns why it refuses the text, or
// an empty text; it sets `out` only when it accepts the text.

namespace link_url {

constexpr int kDefaultPort = 0;
constexpr int kLargestPort = 65535;

/// What is between the address and the hash.
inline constexpr char kLinkFolder[] = "/sharing/";

/// The part of a link's URL before "/sharing/HASH".
struct Address {
  bool https = false;
  std::string host;         // as ReadHost returns it
  int port = kDefaultPort;  // kDefaultPort: that of the scheme
  std::string path;         // escaped; empty, or "/" and segments, without "/" at its end
};

inline bool IsAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

/// Whether a whole segment of a path is "." or "..", which a browser removes.
inline bool IsDotSegment(const std::string& segment) {
  return segment == "." || segment == "..";
}

/// Parses the host of a URL: an IPv4 address, an IPv6 address with or without brackets,
/// or a name.  `out` is the host in the form used in a URL: lower case, an IPv6 address
/// in brackets and in its short form, characters outside ASCII percent-encoded.  Refuses
/// anything else, including a zone id or a port.
std::string ReadHost(const std::string& text, std::string& out);

/// Whether a host, as ReadHost returns it, is known on the local network only.
bool IsLocalHost(const std::string& host);

/// Escapes a path given as plain text, such as "apps/photo album"; empty segments are
/// dropped.  Refuses a "." or ".." segment.
std::string ReadPlainPath(const std::string& text, std::string& out);

/// Parses the URL "http(s)://HOST[:PORT][/PATH]", whose path is already escaped.
std::string ReadBase(const std::string& text, Address& out);

/// Scheme, host and port of an address; the default port of the scheme is omitted.
std::string MakeOrigin(const Address& address);

/// The URL of a link.  The hash is escaped; the default port of the scheme is omitted.
std::string MakeUrl(const Address& address, const std::string& hash);

}  // namespace link_url
