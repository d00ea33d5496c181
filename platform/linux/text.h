#pragma once

#include <optional>
#include <string>
#include <vector>

namespace VEXO::platform {

/// The text without blanks and tabs (and line ends) at both ends.
std::string Trim(const std::string& text);

/// The trimmed parts of `text` between any of `separators`, empty ones included.
std::vector<std::string> Split(const std::string& text, const char* separators);

/// The number when the whole text is a decimal one (digits only) between `low` and
/// `high`.
std::optional<long> ParseNumber(const std::string& text, long low, long high);

}  // namespace VEXO::platform
