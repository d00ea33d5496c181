#include "base/system_account.h"

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>

namespace VEXO::base {
namespace {

constexpr mode_t kFolderMode = 0750;

}  // namespace

AsSystemAccount::AsSystemAccount() : group_(getegid()), good_(geteuid() != 0) {
  if (good_ || setegid(kSystemGid) == -1) return;
  switched_ = true;
  good_ = seteuid(kSystemUid) == 0;
  if (good_) return;
  const int reason = errno;
  Restore();
  errno = reason;
}

AsSystemAccount::~AsSystemAccount() {
  const int reason = errno;
  Restore();
  errno = reason;
}

bool AsSystemAccount::Restore() {
  if (!switched_) return true;
  switched_ = false;
  return seteuid(0) == 0 && setegid(group_) == 0;
}

bool EnsureSystemFolder(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0) return true;
  if (errno != ENOENT || geteuid() != 0) return false;
  if (mkdir(path.c_str(), S_IRWXU) == -1) return errno == EEXIST;
  if (chown(path.c_str(), kSystemUid, kSystemGid) == -1 ||
      chmod(path.c_str(), kFolderMode) == -1) {
    const int reason = errno;
    rmdir(path.c_str());
    errno = reason;
    return false;
  }
  syslog(LOG_WARNING, "%s: created, because it was missing", path.c_str());
  return true;
}

}  // namespace VEXO::base
