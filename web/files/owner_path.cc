#include "web/files/owner_path.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <vector>

#include "base/unique_fd.h"
#include "web/files/descriptor_path.h"

namespace web {
namespace {

using VEXO::base::UniqueFd;

constexpr unsigned int kRead = 4;
constexpr unsigned int kWrite = 2;
constexpr unsigned int kSearch = 1;
constexpr int kMaxLinks = 40;  // as the kernel's

/// True also when that cannot be found out.
bool HasAccessList(int fd) {
  const ssize_t size =
      getxattr(DescriptorPath(fd).c_str(), "system.posix_acl_access", nullptr, 0);
  return size != -1 || (errno != ENODATA && errno != EOPNOTSUPP);
}

bool Admits(const Owner& owner, int fd, const struct stat& status, unsigned int rights) {
  if (owner.user == 0) return true;
  if (HasAccessList(fd)) return false;
  unsigned int granted = status.st_mode;
  if (status.st_uid == owner.user) {
    granted >>= 6;
  } else if (owner.IsIn(status.st_gid)) {
    granted >>= 3;
  }
  return (granted & rights) == rights;
}

std::string TargetOf(int link) {
  std::array<char, PATH_MAX> target;
  const ssize_t length = readlinkat(link, "", target.data(), target.size());
  return length == -1 ? "" : std::string(target.data(), length);
}

/// A path that is followed name by name, and the folders on the way.
class Walk {
 public:
  /// Starts at a folder.  A confined walk does not leave it.
  Walk(const Owner& owner, UniqueFd start, bool confined)
      : owner_(owner), confined_(confined) {
    way_.push_back(std::move(start));
  }

  bool Reaches(const std::string& path, const struct stat& target) {
    Push(path);
    while (!names_.empty()) {
      const std::string name = std::move(names_.back());
      names_.pop_back();
      if (!Pass(name)) return false;
    }
    struct stat end = {};
    return fstat(way_.back().get(), &end) == 0 && end.st_dev == target.st_dev &&
           end.st_ino == target.st_ino;
  }

 private:
  /// Puts the names of a path before those that are left.
  void Push(const std::string& path) {
    for (size_t end = path.size(); end != 0;) {
      const size_t slash = path.rfind('/', end - 1);
      const size_t begin = slash == std::string::npos ? 0 : slash + 1;
      if (begin != end) names_.push_back(path.substr(begin, end - begin));
      end = slash == std::string::npos ? 0 : slash;
    }
  }

  bool Pass(const std::string& name) {
    struct stat status = {};
    const int folder = way_.back().get();
    if (fstat(folder, &status) == -1 || !Admits(owner_, folder, status, kSearch)) {
      return false;
    }
    if (name == ".") return true;
    if (name == "..") return GoUp();
    UniqueFd next(openat(folder, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!next || fstat(next.get(), &status) == -1) return false;
    if (S_ISLNK(status.st_mode)) return Follow(TargetOf(next.get()));
    way_.push_back(std::move(next));
    return true;
  }

  bool GoUp() {
    if (way_.size() > 1) {
      way_.pop_back();
      return true;
    }
    return !confined_;
  }

  bool Follow(const std::string& target) {
    if (target.empty() || ++links_ > kMaxLinks) return false;
    if (target[0] == '/') {
      if (confined_) return false;
      way_.resize(1);
    }
    Push(target);
    return true;
  }

  const Owner& owner_;
  const bool confined_;
  std::vector<UniqueFd> way_;       // from the start to where the walk is
  std::vector<std::string> names_;  // still to pass, the next one last
  int links_ = 0;
};

bool Reaches(const Owner& owner, UniqueFd start, bool confined, const std::string& path,
             const struct stat& target) {
  return start && Walk(owner, std::move(start), confined).Reaches(path, target);
}

}  // namespace

bool ModeAdmits(const Owner& owner, int fd, const struct stat& status) {
  return Admits(owner, fd, status, S_ISDIR(status.st_mode) ? kRead | kSearch : kRead);
}

bool ModeAdmitsCreating(const Owner& owner, int fd, const struct stat& status) {
  return Admits(owner, fd, status, kWrite | kSearch);
}

bool OwnerReaches(const Owner& owner, const std::string& path,
                  const struct stat& target) {
  return Reaches(owner, UniqueFd(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC)), false,
                 path, target);
}

bool OwnerReachesBelow(const Owner& owner, int root, const std::string& path,
                       const struct stat& target) {
  return Reaches(owner, UniqueFd(fcntl(root, F_DUPFD_CLOEXEC, 0)), true, path, target);
}

}  // namespace web
