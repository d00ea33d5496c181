#include "web/drop/drop_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <thread>

#include "web/deadline.h"
#include "web/files/folder_stream.h"
#include "web/files/owner_path.h"

namespace web {
namespace {

using VEXO::base::UniqueFd;

constexpr mode_t kInherited = 0664;
constexpr mode_t kAlways = 0600;
constexpr mode_t kReadByAll = 0004;

}  // namespace

DropFolder::Access::Access(const DropFolder& folder) {
  if (folder.becomes_owner_) as_owner_.emplace(folder.owner_);
}

bool DropFolder::Access::good() const {
  if (!as_owner_ || as_owner_->good()) return true;
  errno = EPERM;
  return false;
}

OpenResult DropFolder::Open(const Share& share, const Owner& owner,
                            std::unique_ptr<DropFolder>* folder) {
  std::unique_ptr<SharedTree> tree;
  const OpenResult result = SharedTree::Open(share, owner, &tree);
  if (result != OpenResult::kOpened) return result;
  if (tree->root().info.kind != NodeKind::kFolder) return OpenResult::kAbsent;
  std::unique_ptr<DropFolder> opened(
      new DropFolder(std::move(tree), share.drop.value_or(DropLimits()), owner));
  const Access access(*opened);
  if (!access.good() || !opened->MayCreate()) return OpenResult::kFailed;
  *folder = std::move(opened);
  return OpenResult::kOpened;
}

bool DropFolder::MayCreate() const {
  struct stat status = {};
  if (fstat(fd(), &status) == -1 ||
      faccessat(fd(), "", W_OK | X_OK, AT_EACCESS | AT_EMPTY_PATH) == -1) {
    return false;
  }
  if (becomes_owner_ || ModeAdmitsCreating(owner_, fd(), status)) return true;
  errno = EACCES;
  return false;
}

std::optional<DropFolder::Contents> DropFolder::Count() const {
  const FolderStream stream = OpenFolderStream(fd());
  if (!stream) return std::nullopt;
  Contents contents;
  for (;;) {
    errno = 0;
    const dirent* const entry = readdir(stream.get());
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name.substr(0, kIncompletePrefix.size()) == kIncompletePrefix) continue;
    struct stat status = {};
    const bool found =
        fstatat(dirfd(stream.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0;
    if (!found || !S_ISREG(status.st_mode)) continue;
    ++contents.files;
    contents.bytes += static_cast<std::uint64_t>(status.st_size);
  }
  if (errno != 0) return std::nullopt;
  return contents;
}

std::unique_ptr<NewFile> DropFolder::CreateFile() const { return NewFile::Create(fd()); }

bool DropFolder::Finish(const NewFile& file) const {
  struct stat status = {};
  if (fstat(fd(), &status) == -1) return false;
  const mode_t mode = (status.st_mode & kInherited) | kAlways;
  if (fchmod(file.fd(), mode) == -1 || fstat(file.fd(), &status) == -1) return false;
  if (!becomes_owner_ && !ModeAdmits(owner_, file.fd(), status) &&
      fchmod(file.fd(), mode | kReadByAll) == -1) {
    return false;
  }
  return fsync(file.fd()) == 0;
}

bool DropFolder::Sync() const { return fsync(fd()) == 0; }

UniqueFd DropFolder::Lock(std::chrono::milliseconds timeout) const {
  constexpr std::chrono::milliseconds kPause(10);
  const Deadline deadline(timeout);
  UniqueFd lock = ReopenFolder(fd());
  while (lock && flock(lock.get(), LOCK_EX | LOCK_NB) == -1) {
    const bool busy = errno == EWOULDBLOCK || errno == EINTR;
    if (!busy || deadline.IsOver()) return UniqueFd();
    std::this_thread::sleep_for(kPause);
  }
  return lock;
}

}  // namespace web
