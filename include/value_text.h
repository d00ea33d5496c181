#pragma once

#include <string>

#include "keys.h"

namespace VEXO::sharing {

/// The value as SQL text, neither quoted nor escaped: a string unchanged, a bool as "1"
/// or "0", a number in decimal in any locale.
///
/// @tparam T  std::string, bool, const bool, const int or const long
template <class T>
std::string ToString(T& value);

extern template SHARING_EXPORT std::string ToString<std::string>(std::string& value);
extern template SHARING_EXPORT std::string ToString<bool>(bool& value);
extern template SHARING_EXPORT std::string ToString<const bool>(const bool& value);
extern template SHARING_EXPORT std::string ToString<const int>(const int& value);
extern template SHARING_EXPORT std::string ToString<const long>(const long& value);

}  // namespace VEXO::sharing
