#include "web/files/new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "base/random_draw.h"
#include "web/files/descriptor_path.h"

namespace web {
namespace {

using VEXO::base::UniqueFd;

constexpr mode_t kPrivate = 0600;

/// A name that no other upload has.
bool DrawHiddenName(std::string* name) {
  constexpr std::string_view kAlphabet = "abcdefghijklmnopqrstuvwxyz0123456789";
  constexpr size_t kLength = 16;
  if (!VEXO::base::DrawText(kAlphabet, kLength, name)) return false;
  name->insert(0, kIncompletePrefix);
  return true;
}

}  // namespace

NewFile::NewFile(int folder, UniqueFd fd, std::string hidden_name)
    : folder_(folder), fd_(std::move(fd)), hidden_name_(std::move(hidden_name)) {}

NewFile::~NewFile() {
  if (!hidden_name_.empty()) RemoveName(hidden_name_);
}

std::unique_ptr<NewFile> NewFile::Create(int folder) {
  std::string hidden_name;
  UniqueFd fd(openat(folder, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, kPrivate));
  if (!fd && (errno == EOPNOTSUPP || errno == EISDIR)) {
    if (!DrawHiddenName(&hidden_name)) return nullptr;
    fd.Reset(openat(folder, hidden_name.c_str(),
                    O_CREAT | O_EXCL | O_NOFOLLOW | O_WRONLY | O_CLOEXEC, kPrivate));
  }
  if (!fd) return nullptr;
  return std::unique_ptr<NewFile>(new NewFile(folder, std::move(fd), hidden_name));
}

bool NewFile::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(fd_.get(), bytes.data(), bytes.size());
    if (written == -1 && errno == EINTR) continue;
    if (written == -1) return false;
    bytes.remove_prefix(written);
  }
  return true;
}

bool NewFile::GiveName(const std::string& name) {
  if (linkat(AT_FDCWD, DescriptorPath(fd_.get()).c_str(), folder_, name.c_str(),
             AT_SYMLINK_FOLLOW) == 0) {
    return true;
  }
  // A file system without a second name for a file.
  if (hidden_name_.empty() || (errno != EPERM && errno != EOPNOTSUPP) ||
      renameat2(folder_, hidden_name_.c_str(), folder_, name.c_str(), RENAME_NOREPLACE) ==
          -1) {
    return false;
  }
  hidden_name_.clear();
  return true;
}

void NewFile::RemoveName(const std::string& name) const {
  const int reason = errno;
  struct stat mine = {};
  struct stat named = {};
  const bool is_mine = fstat(fd_.get(), &mine) == 0 &&
                       fstatat(folder_, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
                       mine.st_dev == named.st_dev && mine.st_ino == named.st_ino;
  if (is_mine) unlinkat(folder_, name.c_str(), 0);
  errno = reason;
}

}  // namespace web
