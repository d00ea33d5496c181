#include "utils/null_text.h"

#include <stdexcept>

namespace VEXO::sharing {

// The standard library throws the same error, but does not guarantee it.
std::string TextOrThrow(const char* text) {
  if (text == nullptr) {
    throw std::logic_error("basic_string::_M_construct null not valid");
  }
  return text;
}

}  // namespace VEXO::sharing
