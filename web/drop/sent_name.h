#pragma once

#include <string>
#include <string_view>

namespace web {

/// The name to store a file under that a visitor sent: the last component of what the
/// visitor's program called it, in valid UTF-8, at most 255 bytes, without a leading dot.
/// Control characters and those that change the writing direction become _.  "file" when
/// nothing is left.
std::string CleanFileName(std::string_view sent);

/// The same name with a number, "photo (2).jpg", at most 255 bytes.  1 is the name
/// itself.
std::string NumberedName(const std::string& name, int number);

}  // namespace web
