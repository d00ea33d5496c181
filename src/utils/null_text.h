#pragma once

#include <string>

namespace VEXO::sharing {

/// A copy of `text`.  Throws std::logic_error for null.
std::string TextOrThrow(const char* text);

}  // namespace VEXO::sharing
