#include "value_text.h"

#include <type_traits>

namespace VEXO::sharing {

template <class T>
std::string ToString(T& value) {
  if constexpr (std::is_same_v<T, std::string>) {
    return value;
  } else {
    return std::to_string(value);
  }
}

template std::string ToString<std::string>(std::string& value);
template std::string ToString<bool>(bool& value);
template std::string ToString<const bool>(const bool& value);
template std::string ToString<const int>(const int& value);
template std::string ToString<const long>(const long& value);

}  // namespace VEXO::sharing
