#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace VEXO::base {

/// The text without the blanks, tabs and line ends at both ends.
std::string Trim(std::string_view text);

/// The character or the text with ASCII letters in lower case, whatever the locale.
char ToLowerAscii(char c);
std::string ToLowerAscii(std::string_view text);

/// The trimmed parts of `text` between any of the characters in `separators`.  Empty
/// parts are kept, so an empty text has one part.
std::vector<std::string> Split(std::string_view text, std::string_view separators);

/// Each byte as two lower-case hexadecimal digits.
std::string HexText(const unsigned char* bytes, size_t size);

/// A time in UTC as programs write it (ISO 8601), for strftime and strptime.
inline constexpr char kIsoTimeFormat[] = "%Y-%m-%dT%H:%M:%SZ";

}  // namespace VEXO::base
