#include "system_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VEXO::platform {
namespace {

constexpr mode_t kMode = 0660;

}  // namespace

bool CreateSystemFile(const std::string& path) {
  std::string temporary = path + ".XXXXXX";
  const int fd = mkostemp(temporary.data(), O_CLOEXEC);
  if (fd == -1) return false;
  const bool owned = fchown(fd, kSystemUid, kSystemGid) == 0 && fchmod(fd, kMode) == 0;
  int reason = errno;
  close(fd);  // before it is shared: closing drops the process's locks on the file
  // A file that another process placed there meanwhile is as good.
  const bool placed =
      owned && (link(temporary.c_str(), path.c_str()) == 0 || errno == EEXIST);
  if (owned) reason = errno;
  unlink(temporary.c_str());
  errno = reason;
  return placed;
}

}  // namespace VEXO::platform
