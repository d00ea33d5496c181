#pragma once

#include <string>

namespace tools {

/// Draws a password of 20 letters and digits that are not mistaken for each other, about
/// 116 bits.  `out` is given its room first, so that it leaves no copy behind by growing;
/// to wipe it is the caller's part.  False, with errno and no password, when the kernel
/// gives no random bytes or a signal came while it gathered its first ones.
bool DrawPassword(std::string& out);

}  // namespace tools
