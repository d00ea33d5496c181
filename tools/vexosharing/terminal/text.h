#pragma once

#include <string>
#include <vector>

namespace command {

/// The text made safe to show on one line: control characters, characters that change the
/// writing direction and invalid UTF-8 are replaced by escapes such as \n or \x1b.
std::string Printable(const std::string& text);

/// Columns that a printable text occupies on a terminal.
size_t DisplayWidth(const std::string& text);

/// Bytes of the longest beginning of a printable text that fits into `width` columns.
size_t FittingLength(const std::string& text, size_t width);

/// The printable text itself, or its beginning and an ellipsis in `width` columns.
std::string Fit(const std::string& text, size_t width);

/// "1 link", "2 links".
std::string Counted(long count, const std::string& noun);

std::string Join(const std::vector<std::string>& texts);

/// The first ten texts, and how many more there are.
std::string JoinFirst(std::vector<std::string> texts);

}  // namespace command
