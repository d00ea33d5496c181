#include "redirect.h"

#include <strings.h>

#include <algorithm>

#include "base/percent.h"

namespace web {
namespace {

/// Characters with which a browser reads an address in another way than it is written.
bool HasMisleadingCharacter(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](unsigned char c) { return c < 0x20 || c == 0x7f || c == '\\'; });
}

}  // namespace

bool IsHost(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return VEXO::base::IsUnreserved(c) || c == ':' || c == '[' || c == ']';
  });
}

std::string EscapeLocation(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    const bool plain = c > 0x20 && c < 0x7f;
    escaped += plain ? std::string(1, c) : VEXO::base::PercentEncode({&c, 1});
  }
  return escaped;
}

std::optional<RedirectTarget> ParseSitePath(const std::string& text) {
  const bool other_host = text.size() > 1 && text[1] == '/';
  if (text.empty() || text[0] != '/' || other_host || HasMisleadingCharacter(text)) {
    return std::nullopt;
  }
  return RedirectTarget{EscapeLocation(text), ""};
}

std::optional<RedirectTarget> ParseRedirectUri(const std::string& text) {
  for (const std::string scheme : {"http://", "https://"}) {
    if (strncasecmp(text.c_str(), scheme.c_str(), scheme.size()) != 0) continue;
    const size_t end = std::min(text.find_first_of("/?#", scheme.size()), text.size());
    const std::string host = text.substr(scheme.size(), end - scheme.size());
    if (!IsHost(host) || HasMisleadingCharacter(text)) return std::nullopt;
    return RedirectTarget{EscapeLocation(text), scheme + host};
  }
  return ParseSitePath(text);
}

}  // namespace web
