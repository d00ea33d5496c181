#include "private_move.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "base/random_draw.h"
#include "vexo/random.hpp"

namespace VEXO::platform {
namespace {

constexpr size_t kSuffixLength = 8;  // random, so that nobody can take the name before

bool Refuse(const std::string& path) {
  const int reason = errno;
  syslog(LOG_ERR, "%s: not moved, because it cannot be kept private: %m", path.c_str());
  errno = reason;
  return false;
}

/// Lets only its owner read and write the regular file `path`.
bool MakePrivate(const char* path) {
  constexpr mode_t kMode = S_IRUSR | S_IWUSR;
  // No descriptor of the file is opened for reading or writing: closing one would drop
  // the locks that this process holds on it.
  if (fchmodat(AT_FDCWD, path, kMode, AT_SYMLINK_NOFOLLOW) == 0) return true;
  // The C library needs /proc to follow no link.
  return errno == EOPNOTSUPP && chmod(path, kMode) == 0;
}

/// Gives what has the name `target` another name beside it.
bool MakeRoom(const std::string& target) {
  struct stat status = {};
  if (lstat(target.c_str(), &status) == -1) return errno == ENOENT;
  std::string suffix;
  if (!base::DrawText(RANDOM::POOL_ALPHA_NUMERIC, kSuffixLength, &suffix)) return false;
  const std::string other = target + ".older-" + suffix;
  if (rename(target.c_str(), other.c_str()) == -1) return false;
  syslog(LOG_WARNING, "%s: renamed to %s, to make room for another file of that name",
         target.c_str(), other.c_str());
  return true;
}

}  // namespace

bool PreparePrivateMove(const char* const argv[]) {
  if (argv[1] == nullptr || argv[2] == nullptr || argv[3] != nullptr) return true;
  const std::string source = argv[1];
  const std::string folder = argv[2];
  if (folder.empty() || folder.back() != '/') return true;
  struct stat status = {};
  if (lstat(source.c_str(), &status) == -1 || !S_ISREG(status.st_mode) ||
      status.st_uid != 0) {
    return true;
  }

  if (!MakePrivate(source.c_str()) ||
      !MakeRoom(folder + source.substr(source.rfind('/') + 1))) {
    return Refuse(source);
  }
  return true;
}

}  // namespace VEXO::platform
