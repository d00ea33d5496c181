#pragma once

#include <optional>
#include <string>

namespace VEXO::sharing {

/// SHA-256 of the text, as 64 lower-case hexadecimal digits.
///
/// @return nothing, logged, when libcrypto cannot be loaded
std::optional<std::string> Digest(const std::string& text);

}  // namespace VEXO::sharing
