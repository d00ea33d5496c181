#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace VEXO::base {

/// Whether a URL may hold the character as it is everywhere (RFC 3986, 2.3): ASCII
/// letters, digits and - . _ ~
bool IsUnreserved(char c);

/// The text with `%XX` for every byte that is neither unreserved nor in `also_plain`.
std::string PercentEncode(std::string_view text, std::string_view also_plain = "");

/// The byte that the three characters `%XX` at `position` encode; nothing when there is
/// no such escape.
std::optional<char> PercentDecodeAt(std::string_view text, size_t position);

}  // namespace VEXO::base
