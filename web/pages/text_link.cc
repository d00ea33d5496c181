#include "text_link.h"

#include <strings.h>

#include <algorithm>
#include <string_view>

#include "base/percent.h"
#include "web/parameters.h"

namespace web {
namespace {

bool BeginsWith(const std::string& text, std::string_view begin) {
  return strncasecmp(text.c_str(), begin.data(), begin.size()) == 0;
}

/// Whether a browser would read the target in another way than it is written.
bool IsMisleading(const std::string& target) {
  return std::any_of(target.begin(), target.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f || c == '\\';
  });
}

/// The target as it may be in a URL; what is escaped stays as it is.
std::string EscapeTarget(const std::string& target) {
  std::string escaped;
  for (size_t i = 0; i < target.size(); ++i) {
    const bool is_escape = VEXO::base::PercentDecodeAt(target, i).has_value();
    escaped +=
        VEXO::base::PercentEncode({&target[i], 1}, is_escape ? "%" : "!#$&'()*+,;=:/?@");
  }
  return escaped;
}

bool IsParent(std::string_view segment) { return DecodePart(segment) == ".."; }

/// Whether a relative path, escaped, stays in the folder that is `depth` levels above.
bool StaysBelow(std::string_view path, size_t depth) {
  path = path.substr(0, path.find_first_of("?#"));
  while (!path.empty()) {
    const size_t end = std::min(path.find('/'), path.size());
    const std::string_view segment = path.substr(0, end);
    path.remove_prefix(std::min(end + 1, path.size()));
    // A segment that is not "..", counts for nothing: this is stricter, and simple.
    if (!IsParent(segment)) continue;
    if (depth == 0) return false;
    --depth;
  }
  return true;
}

}  // namespace

std::optional<TextLink> ParseTextLink(const std::string& target, size_t depth) {
  if (IsMisleading(target)) return std::nullopt;
  const std::string href = EscapeTarget(target);
  for (const std::string_view scheme : {"http://", "https://"}) {
    if (BeginsWith(href, scheme) && href.size() > scheme.size()) {
      return TextLink{href, TextLink::Kind::kExternal};
    }
  }
  if (BeginsWith(href, "mailto:")) return TextLink{href, TextLink::Kind::kMail};
  const size_t colon = href.find(':');
  const bool has_scheme = colon < href.find_first_of("/?#");
  if (has_scheme || href.substr(0, 1) == "/" || !StaysBelow(href, depth)) {
    return std::nullopt;
  }
  return TextLink{"./" + href, TextLink::Kind::kBelow};
}

}  // namespace web
