#pragma once

#include <string>

namespace VEXO::sharing {

/// Makes sure that a file which all processes share exists, in a folder of the system
/// account.  Creates an empty file; root creates the folder, too.  False, with the reason
/// in errno, when one of them is missing and cannot be created.
bool EnsureSharedFile(const std::string& folder, const std::string& path);

}  // namespace VEXO::sharing
