#pragma once

#include <sys/types.h>

namespace tools {

/// The account to which the database belongs.
inline constexpr uid_t kSystemUid = 1;
inline constexpr gid_t kSystemGid = 1;

/// Whether the caller's effective user is root or the system account; nobody else may
/// use the database.
bool IsRootOrSystemAccount();

}  // namespace tools
