#pragma once

#include <string>

namespace VEXO::base {

/// Overwrites the whole memory of the text with zeros and empties it.  For secrets: what
/// a string has freed or left behind can be read until something else is stored there.
void Wipe(std::string* text);

}  // namespace VEXO::base
