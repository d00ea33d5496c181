#pragma once

#include <string>

namespace tools {

/// The text without the blanks, tabs and line ends around it.
std::string Trim(const std::string& text);

}  // namespace tools
