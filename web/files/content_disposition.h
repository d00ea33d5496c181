#pragma once

#include <string>
#include <string_view>

namespace web {

enum class Disposition { kInline, kAttachment };

/// Value of Content-Disposition with the name twice (RFC 6266, section 4.3 and appendix
/// D): `filename` in ASCII, and `filename*` in UTF-8 (RFC 8187).  Control characters,
/// those that change the writing direction, and slashes of both kinds become _; bytes
/// that are not UTF-8 become U+FFFD.
std::string ContentDisposition(Disposition disposition, std::string_view name);

}  // namespace web
