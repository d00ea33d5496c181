#include "value_text.h"

#include "utils/plain_text.h"

namespace VEXO::sharing {

template <class T>
std::string ToString(T& value) {
  return (PlainText() << value).str();
}

template std::string ToString<std::string>(std::string& value);
template std::string ToString<bool>(bool& value);
template std::string ToString<const bool>(const bool& value);
template std::string ToString<const int>(const int& value);
template std::string ToString<const long>(const long& value);

}  // namespace VEXO::sharing
