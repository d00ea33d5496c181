#pragma once

#include <sys/stat.h>

#include <string>

#include "web/files/owner.h"

namespace web {

/// Whether the mode of an open file admits the owner; read permission for a file, read
/// and search permission for a folder.  False for a file with an access control list.
bool ModeAdmits(const Owner& owner, int fd, const struct stat& status);
/// The same for creating files in a folder.
bool ModeAdmitsCreating(const Owner& owner, int fd, const struct stat& status);

/// Whether the owner may pass, by mode, every folder on a path to a file, links included.
/// False for a path that leads elsewhere than to `target`.
///
/// From `/`:
bool OwnerReaches(const Owner& owner, const std::string& path, const struct stat& target);
/// From the folder `root`, which the path does not leave:
bool OwnerReachesBelow(const Owner& owner, int root, const std::string& path,
                       const struct stat& target);

}  // namespace web
