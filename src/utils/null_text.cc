#include "utils/null_text.h"

#include <stdexcept>

namespace VEXO::sharing {

// The standard library raises the same error by itself, but need not.
std::string TextOrThrow(const char* text) {
  if (text == nullptr) {
    throw std::logic_error("basic_string::_M_construct null not valid");
  }
  return text;
}

}  // namespace VEXO::sharing
