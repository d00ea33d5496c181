#include "web/files/content_disposition.h"

#include <utf8cpp/utf8.h>

#include "base/percent.h"
#include "web/files/display_name.h"

namespace web {
namespace {

/// The name in ASCII.  Quotes are left out, and so are percent signs, since some browsers
/// decode what looks like an escape.
std::string InAscii(const std::string& name) {
  std::string ascii;
  for (auto at = name.begin(); at != name.end();) {
    const char32_t code = utf8::unchecked::next(at);
    ascii += code < 0x80 && code != '"' && code != '%' ? static_cast<char>(code) : '_';
  }
  return ascii;
}

}  // namespace

std::string ContentDisposition(Disposition disposition, std::string_view name) {
  constexpr std::string_view kAlsoPlain = "!#$&+^`|";  // attr-char of RFC 8187
  const std::string safe = DownloadName(name);
  return std::string(disposition == Disposition::kInline ? "inline" : "attachment") +
         "; filename=\"" + InAscii(safe) + "\"; filename*=UTF-8''" +
         VEXO::base::PercentEncode(safe, kAlsoPlain);
}

}  // namespace web
