#pragma once

#include <string>
#include <vector>

namespace command {

/// The text with U+FFFD in the place of every byte that is no UTF-8.
std::string ToUtf8(const std::string& text);

/// The text made safe to show on one line: control characters, characters that turn the
/// direction of writing, and bytes that are no UTF-8 stand as escapes such as \n or \x1b.
std::string Printable(const std::string& text);

/// Columns that a printable text takes on a terminal.
size_t DisplayWidth(const std::string& text);

/// Bytes of the longest beginning that fits into `width` columns.
size_t FittingLength(const std::string& text, size_t width);

/// The text itself, or as much of it as fits into `width` columns with an ellipsis.
std::string Fit(const std::string& text, size_t width);

/// "1 link", "2 links".
std::string Counted(long count, const std::string& noun);

std::string Join(const std::vector<std::string>& texts);

}  // namespace command
