#pragma once

#include <dirent.h>

#include <memory>

#include "base/unique_fd.h"

namespace web {

using FolderStream = std::unique_ptr<DIR, int (*)(DIR*)>;

/// Opens an open folder a second time, with a position and locks of its own.  None, with
/// the reason in errno, on failure.
VEXO::base::UniqueFd ReopenFolder(int folder);

/// Reads an open folder from its beginning.  Null, with the reason in errno, on failure.
FolderStream OpenFolderStream(int folder);

}  // namespace web
