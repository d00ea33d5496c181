#pragma once

#include <map>
#include <string>
#include <string_view>

namespace VEXO::platform {

using TextMap = std::map<std::string, std::string>;

/// Parameters of a query string or a form body, decoded; the first of a name counts.  A
/// percent sign without two hexadecimal digits is kept.  A parameter with a NUL
/// in it is left out: no C string could hold it whole.
TextMap ParseForm(std::string_view text);

/// Overwrites the values.
void WipeValues(TextMap* texts);

/// Whether a content type, parameters aside, is application/x-www-form-urlencoded.
bool IsFormType(const std::string& content_type);

/// Cookies of a Cookie header; the first of a name counts.  What is no cookie is left
/// out.
TextMap ParseCookies(const std::string& header);

/// The Cookie header of `cookies`.
std::string CookieHeader(const TextMap& cookies);

/// What a cookie may contain (RFC 6265): a name is a token of RFC 2616, and a value has
/// no control character, blank, quote, comma, semicolon or backslash, and nothing beyond
/// ASCII.
bool IsCookieName(const std::string& name);
bool IsCookieValue(const std::string& value);

/// A path or a domain: nothing that ends the attribute or the line.
bool IsCookieAttribute(const std::string& value);

}  // namespace VEXO::platform
