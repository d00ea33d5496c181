#pragma once

#include <sys/types.h>

#include <string>

namespace VEXO::platform {

/// The account to which the databases belong.
constexpr uid_t kSystemUid = 1;
constexpr gid_t kSystemGid = 1;

/// Creates `path` as an empty file with mode 0660 that belongs to the system account,
/// unless it exists.  It never has its name with another owner or mode.  False, with the
/// reason in errno, when it cannot be created or not given to the system account.
bool CreateSystemFile(const std::string& path);

}  // namespace VEXO::platform
