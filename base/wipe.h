#pragma once

#include <cstring>
#include <string>

namespace VEXO::base {

/// Overwrites the whole memory of the text with zeros and empties it.  For secrets: what
/// a string has freed or left behind can be read until something else is stored there.
inline void Wipe(std::string* text) {
  text->resize(text->capacity());  // takes no memory
  explicit_bzero(text->data(), text->size());
  text->clear();
}

}  // namespace VEXO::base
