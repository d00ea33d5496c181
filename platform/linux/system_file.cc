#include "system_file.h"

#include <cerrno>

#include "base/atomic_file.h"

namespace VEXO::platform {

bool CreateFileWith(const FileAccess& access, const std::string& path) {
  base::AtomicFile file(path);
  if (!file.Create() || !file.SetAccess(access.owner, access.group, access.mode)) {
    return false;
  }
  // EEXIST: another process has just created it.
  return file.Place(base::AtomicFile::Existing::kKeep) || errno == EEXIST;
}

}  // namespace VEXO::platform
