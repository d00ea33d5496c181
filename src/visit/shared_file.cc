#include "visit/shared_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "base/system_account.h"
#include "base/unique_fd.h"

namespace VEXO::sharing {
namespace {

constexpr mode_t kMode = 0660;

}  // namespace

bool EnsureSharedFile(const std::string& folder, const std::string& path) {
  if (!base::EnsureSystemFolder(folder)) return false;
  const base::AsSystemAccount system;
  if (!system.good()) return false;
  const base::UniqueFd file(
      open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kMode));
  // The mode must not depend on the mask of the process.
  return file ? fchmod(file.get(), kMode) == 0 : errno == EEXIST;
}

}  // namespace VEXO::sharing
