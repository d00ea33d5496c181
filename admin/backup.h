#pragma once

#include <functional>
#include <string>

#include "admin/error.h"

namespace admin {

/// Called with the number of pages copied so far and in total; false interrupts.
using PageProgress = std::function<bool(long done, long total)>;

/// Copies the database at `from`, while others use it, into the existing file `to` as one
/// file without logs, and verifies the copy.
Error CopyDatabase(const std::string& from, const std::string& to,
                   const PageProgress& progress);

/// What a restore did.
struct Restored {
  std::string kept;  // path of the previous database; empty when there was none
  long links = 0;
};

/// Replaces the links of the database at `path` by those of the backup `file`, which is
/// checked first, and keeps the previous database in the same directory.  Sessions and
/// tokens are deleted, so that nobody keeps access that was revoked after the backup:
/// visitors log in again.  Programs that have a usable database open continue with the
/// new content.  A damaged one is replaced as a file, so no other program may have it
/// open.
Error RestoreDatabase(const std::string& file, const std::string& path,
                      const PageProgress& progress, Restored& restored);

}  // namespace admin
