#include "value_text.h"

#include "utils/plain_stream.h"

namespace VEXO::sharing {

template <class T>
std::string ToString(T& value) {
  PlainStream text;
  text << value;
  return text.str();
}

template std::string ToString<std::string>(std::string& value);
template std::string ToString<bool>(bool& value);
template std::string ToString<const bool>(const bool& value);
template std::string ToString<const int>(const int& value);
template std::string ToString<const long>(const long& value);

}  // namespace VEXO::sharing
