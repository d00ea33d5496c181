#pragma once

#include <string>

namespace VEXO::sharing {

/// SHA-256 of the text, as 64 lower-case hexadecimal digits.
std::string Digest(const std::string& text);

}  // namespace VEXO::sharing
