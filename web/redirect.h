#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace web {

/// The text as a Location header may contain it: control characters, blanks and bytes
/// outside ASCII are escaped.
std::string EscapeLocation(std::string_view text);

/// Whether the text can be host and port in a URL and in a Content-Security-Policy.
bool IsHost(std::string_view text);

/// Where a link sends its visitors.
struct RedirectTarget {
  std::string location;  ///< value of Location
  std::string origin;    ///< "https://host:port"; empty for a path of this site
};

/// Parses a path of this site: a slash, then neither a slash nor a backslash, and no
/// backslash or control character anywhere.  Nothing for any other text.
std::optional<RedirectTarget> ParseSitePath(const std::string& text);

/// Parses the redirect URI of a link: an http or https URL, or a path of this site.
/// Nothing for any other text.
std::optional<RedirectTarget> ParseRedirectUri(const std::string& text);

}  // namespace web
