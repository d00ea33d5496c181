#pragma once

#include <sys/types.h>

#include <string>

namespace VEXO::platform {

struct FileAccess {
  uid_t owner;
  gid_t group;
  mode_t mode;
};

/// Creates `path` as an empty file; an existing file is left as it is.  The file appears
/// under its name only once owner and mode are set.  False, with the reason in errno,
/// when it cannot be created or chowned.
bool CreateFileWith(const FileAccess& access, const std::string& path);

}  // namespace VEXO::platform
