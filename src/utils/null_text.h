#pragma once

#include <string>

namespace VEXO::sharing {

/// The text at `text`; throws std::logic_error for null.
std::string TextOrThrow(const char* text);

}  // namespace VEXO::sharing
