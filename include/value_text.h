#pragma once

#include <string>

#include "keys.h"

namespace VEXO::sharing {

/// The value as SQL text, not quoted and not escaped: a text unchanged, a truth value as
/// "1" or "0", a number in plain decimal whatever the program's locale.  Made for
/// std::string, bool, const bool, const int and const long.
template <class T>
std::string ToString(T& value);

extern template SHARING_EXPORT std::string ToString<std::string>(std::string& value);
extern template SHARING_EXPORT std::string ToString<bool>(bool& value);
extern template SHARING_EXPORT std::string ToString<const bool>(const bool& value);
extern template SHARING_EXPORT std::string ToString<const int>(const int& value);
extern template SHARING_EXPORT std::string ToString<const long>(const long& value);

}  // namespace VEXO::sharing
