#pragma once

#include <string>
#include <string_view>

namespace VEXO::base {

/// The folder whose content is never shared that a path lies in, or that lies in it: what
/// the kernel makes up, and the secrets of this machine's links.  Empty when the path may
/// be shared.
/// @param path absolute, without links
std::string FolderNeverShared(std::string_view path);

}  // namespace VEXO::base
