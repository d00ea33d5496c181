#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace web {

/// Where a link in a text leads that somebody wrote into a shared folder.
struct TextLink {
  std::string href;  ///< percent-encoded, not escaped for HTML
  enum class Kind { kBelow, kMail, kExternal } kind = Kind::kBelow;
};

/// The link for a target as it is in the text: a relative address that does not leave
/// what the sharing link shares, an http or https URL, or a mail address ("mailto:...").
/// Nothing for any other target.
///
/// @param depth  folders that the page is below the root of the sharing link
std::optional<TextLink> ParseTextLink(const std::string& target, size_t depth);

}  // namespace web
