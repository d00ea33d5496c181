#include "web/files/shared_tree.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>

#include "base/never_shared.h"
#include "web/files/as_owner.h"
#include "web/files/descriptor_path.h"
#include "web/files/owner_path.h"

namespace web {
namespace {

using VEXO::base::UniqueFd;

/// Finds a file without opening it, so that nothing happens to a device.
UniqueFd Locate(int folder, const std::string& path, std::uint64_t flags,
                std::uint64_t resolve) {
  open_how how = {};
  how.flags = O_PATH | O_CLOEXEC | flags;
  how.resolve = resolve | RESOLVE_NO_MAGICLINKS;
  // RESOLVE_BENEATH fails with EAGAIN when ".." in a link meets a folder that is moved
  // anywhere on the machine.
  constexpr int kAttempts = 100;
  int fd = -1;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    fd = static_cast<int>(syscall(SYS_openat2, folder, path.c_str(), &how, sizeof(how)));
    if (fd != -1 || errno != EAGAIN) break;
  }
  return UniqueFd(fd);
}

/// What a failure of the kernel means for a visitor.
OpenResult ResultOf(int reason) {
  switch (reason) {
    case ENOENT:
    case ENOTDIR:
    case EACCES:
    case ELOOP:
    case EXDEV:  // a link that leads out of the tree
    case ENAMETOOLONG:
      return OpenResult::kAbsent;
    default:
      return OpenResult::kFailed;
  }
}

/// Whether a file shows what the kernel knows rather than what somebody stored: about
/// this process, for example.  True also when that cannot be found out.
bool IsOfKernel(int fd) {
  struct statfs system = {};
  if (fstatfs(fd, &system) == -1) return true;
  switch (static_cast<unsigned long>(system.f_type)) {
    case PROC_SUPER_MAGIC:
    case SYSFS_MAGIC:
    case DEBUGFS_MAGIC:
    case TRACEFS_MAGIC:
    case SECURITYFS_MAGIC:
    case CGROUP_SUPER_MAGIC:
    case CGROUP2_SUPER_MAGIC:
    case BPF_FS_MAGIC:
      return true;
    default:
      return false;
  }
}

NodeInfo Describe(const struct stat& status) {
  NodeInfo info;
  info.kind = S_ISDIR(status.st_mode) ? NodeKind::kFolder : NodeKind::kFile;
  info.size = S_ISDIR(status.st_mode) ? 0 : static_cast<std::uint64_t>(status.st_size);
  info.device = status.st_dev;
  info.inode = status.st_ino;
  info.modified = status.st_mtim;
  info.changed = status.st_ctim;
  return info;
}

/// Whether the process may read the file, or the folder and what is in it.
bool MayRead(int fd, const struct stat& status) {
  const int rights = S_ISDIR(status.st_mode) ? R_OK | X_OK : R_OK;
  return faccessat(fd, "", rights, AT_EACCESS | AT_EMPTY_PATH) == 0;
}

UniqueFd OpenLocated(int located) {
  constexpr int kFlags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  return UniqueFd(open(DescriptorPath(located).c_str(), kFlags));
}

}  // namespace

/// Rights with which a tree's files are accessed, for as long as it exists.
class SharedTree::Access {
 public:
  explicit Access(const SharedTree& tree) {
    if (tree.becomes_owner_) as_owner_.emplace(tree.owner_);
  }

  /// False, with the reason in errno, when the rights cannot be taken any more.
  bool good() const {
    if (!as_owner_ || as_owner_->good()) return true;
    errno = EPERM;
    return false;
  }

 private:
  std::optional<AsOwner> as_owner_;
};

SharedTree::SharedTree(const Share& share, const Owner& owner)
    : name_(NameOfShare(share)),
      owner_(owner),
      hidden_(share.hidden),
      becomes_owner_(AsOwner(owner).good()) {}

OpenResult SharedTree::Open(const Share& share, const Owner& owner,
                            std::unique_ptr<SharedTree>* tree) {
  std::unique_ptr<SharedTree> opened(new SharedTree(share, owner));
  const OpenResult result = opened->OpenRoot(share.path);
  if (result == OpenResult::kOpened) *tree = std::move(opened);
  return result;
}

OpenResult SharedTree::OpenRoot(const std::string& path) {
  const Access access(*this);
  if (!access.good()) return OpenResult::kFailed;
  const UniqueFd located = Locate(AT_FDCWD, path, 0, 0);
  if (!located) return ResultOf(errno);
  std::error_code failure;
  const auto real_path =
      std::filesystem::read_symlink(DescriptorPath(located.get()), failure);
  if (failure) return OpenResult::kFailed;
  if (!VEXO::base::FolderNeverShared(real_path.native()).empty())
    return OpenResult::kAbsent;
  struct stat status = {};
  const OpenResult result = Examine(located.get(), &status);
  if (result != OpenResult::kOpened) return result;
  if (!becomes_owner_ && !OwnerReaches(owner_, path, status)) return OpenResult::kAbsent;
  return Take(located.get(), status, "", &root_);
}

OpenResult SharedTree::OpenNode(const std::string& path, Node* node) const {
  const bool folder_wanted = !path.empty() && path.back() == '/';
  const std::string names = path.substr(0, path.size() - (folder_wanted ? 1 : 0));
  if (!path.empty() && !IsPath(names)) return OpenResult::kAbsent;

  const Access access(*this);
  if (!access.good()) return OpenResult::kFailed;
  if (path.empty()) {
    struct stat status = {};
    if (fstat(root_.fd.get(), &status) == -1) return OpenResult::kFailed;
    return Take(root_.fd.get(), status, "", node);
  }
  UniqueFd located;
  struct stat status = {};
  const OpenResult result = Find(path, &located, &status);
  if (result != OpenResult::kOpened) return result;
  return Take(located.get(), status, names, node);
}

OpenResult SharedTree::Find(const std::string& path, UniqueFd* located,
                            struct stat* status) const {
  *located = Locate(root_.fd.get(), path, 0, RESOLVE_BENEATH);
  if (!*located) return ResultOf(errno);
  const OpenResult result = Examine(located->get(), status);
  if (result != OpenResult::kOpened) return result;
  const bool reached =
      becomes_owner_ || OwnerReachesBelow(owner_, root_.fd.get(), path, *status);
  return reached ? OpenResult::kOpened : OpenResult::kAbsent;
}

OpenResult SharedTree::Examine(int located, struct stat* status) const {
  if (fstat(located, status) == -1) return OpenResult::kFailed;
  const bool kind_served = S_ISREG(status->st_mode) || S_ISDIR(status->st_mode);
  if (!kind_served || IsOfKernel(located) || !MayRead(located, *status)) {
    return OpenResult::kAbsent;
  }
  const bool admitted = becomes_owner_ || ModeAdmits(owner_, located, *status);
  return admitted ? OpenResult::kOpened : OpenResult::kAbsent;
}

OpenResult SharedTree::Take(int located, const struct stat& status,
                            const std::string& path, Node* node) {
  UniqueFd fd = OpenLocated(located);
  if (!fd) return errno == EACCES ? OpenResult::kAbsent : OpenResult::kFailed;
  node->path = path;
  node->info = Describe(status);
  node->fd = std::move(fd);
  return OpenResult::kOpened;
}

bool SharedTree::Shows(std::string_view name) const {
  if (name.empty() || name == "." || name == "..") return false;
  return hidden_ || name[0] != '.';
}

bool SharedTree::IsPath(std::string_view names) const {
  if (names.find('\0') != std::string_view::npos) return false;
  int depth = 0;
  for (;;) {
    const size_t slash = names.find('/');
    if (!Shows(names.substr(0, slash)) || ++depth > kMaxDepth) return false;
    if (slash == std::string_view::npos) return true;
    names.remove_prefix(slash + 1);
  }
}

std::string JoinPath(const std::string& path, const std::string& name) {
  return path.empty() ? name : path + "/" + name;
}

FolderReader::FolderReader(const SharedTree& tree, const Node& folder)
    : tree_(tree), path_(folder.path) {
  const SharedTree::Access access(tree);
  UniqueFd fd(access.good() ? OpenLocated(folder.fd.get()) : UniqueFd());
  if (fd) stream_ = fdopendir(fd.get());
  if (stream_ == nullptr) {
    failure_ = errno;
  } else {
    fd.Release();
  }
}

FolderReader::~FolderReader() {
  if (stream_ != nullptr) closedir(stream_);
}

FolderReader::Step FolderReader::Next(FolderEntry* entry) {
  if (stream_ == nullptr) {
    errno = failure_;
    return Step::kFailed;
  }
  for (;;) {
    errno = 0;
    const dirent* const read = readdir(stream_);
    if (read == nullptr) return errno == 0 ? Step::kEnd : Step::kFailed;
    if (!tree_.Shows(read->d_name)) continue;
    switch (Look(read->d_name, entry)) {
      case OpenResult::kOpened:
        return Step::kEntry;
      case OpenResult::kAbsent:
        break;
      case OpenResult::kFailed:
        return Step::kFailed;
    }
  }
}

OpenResult FolderReader::Look(const std::string& name, FolderEntry* entry) const {
  const SharedTree::Access access(tree_);
  if (!access.good()) return OpenResult::kFailed;
  UniqueFd located = Locate(dirfd(stream_), name, O_NOFOLLOW, RESOLVE_BENEATH);
  struct stat status = {};
  if (!located) return ResultOf(errno);
  if (fstat(located.get(), &status) == -1) return OpenResult::kFailed;
  const bool link = S_ISLNK(status.st_mode);
  const OpenResult result = link ? tree_.Find(JoinPath(path_, name), &located, &status)
                                 : tree_.Examine(located.get(), &status);
  if (result != OpenResult::kOpened) return result;
  entry->name = name;
  entry->link = link;
  entry->info = Describe(status);
  return OpenResult::kOpened;
}

}  // namespace web
