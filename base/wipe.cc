#include "base/wipe.h"

#include <cstring>

namespace VEXO::base {

void Wipe(std::string* text) {
  text->resize(text->capacity());  // takes no memory
  explicit_bzero(text->data(), text->size());
  text->clear();
}

}  // namespace VEXO::base
