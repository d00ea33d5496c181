#include "system_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VEXO::platform {

bool CreateFileWith(const FileAccess& access, const std::string& path) {
  std::string temporary = path + ".XXXXXX";
  const int fd = mkostemp(temporary.data(), O_CLOEXEC);
  if (fd == -1) return false;
  const bool owned =
      fchown(fd, access.owner, access.group) == 0 && fchmod(fd, access.mode) == 0;
  int reason = errno;
  close(fd);  // before it is shared: closing drops the process's locks on the file
  // EEXIST: another process has just created it.
  const bool placed =
      owned && (link(temporary.c_str(), path.c_str()) == 0 || errno == EEXIST);
  if (owned) reason = errno;
  unlink(temporary.c_str());
  errno = reason;
  return placed;
}

}  // namespace VEXO::platform
