#include "base/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace VEXO::base {

constexpr size_t kBufferSize = 65536;

AtomicFile::~AtomicFile() {
  const int reason = errno;
  if (!working_path_.empty()) unlink(working_path_.c_str());
  errno = reason;
}

bool AtomicFile::Create() {
  std::string name = path_ + ".XXXXXX";
  file_.Reset(mkostemp(name.data(), O_CLOEXEC));  // with mode 0600
  if (!file_) return false;
  working_path_ = name;
  return true;
}

bool AtomicFile::SetAccess(uid_t owner, gid_t group, mode_t mode) {
  return fchown(file_.get(), owner, group) == 0 && fchmod(file_.get(), mode) == 0;
}

bool AtomicFile::Append(std::string_view text) {
  buffer_ += text;
  return buffer_.size() < kBufferSize || Write();
}

bool AtomicFile::Place(Existing existing) {
  if (!Write()) return false;
  // Before others can open it: closing drops the process's locks on the file.
  file_.Reset();
  if (!Rename(existing)) return false;
  working_path_.clear();
  return true;
}

bool AtomicFile::PlaceDurably(Existing existing) {
  if (!Write() || fsync(file_.get()) == -1 || !Place(existing)) return false;
  const std::string path = path_.substr(0, path_.rfind('/') + 1) + ".";
  const UniqueFd folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return false;
  return fsync(folder.get()) == 0 || errno == EINVAL;  // not every file system can
}

bool AtomicFile::Write() {
  size_t written = 0;
  while (written < buffer_.size()) {
    const ssize_t count = TEMP_FAILURE_RETRY(
        write(file_.get(), buffer_.data() + written, buffer_.size() - written));
    if (count == -1) return false;
    written += count;
  }
  buffer_.clear();
  return true;
}

bool AtomicFile::Rename(Existing existing) {
  const char* const from = working_path_.c_str();
  if (existing == Existing::kReplace) return rename(from, path_.c_str()) == 0;
  if (renameat2(AT_FDCWD, from, AT_FDCWD, path_.c_str(), RENAME_NOREPLACE) == 0) {
    return true;
  }
  // Some file systems lack RENAME_NOREPLACE, others lack hard links.
  if (errno != EINVAL || link(from, path_.c_str()) == -1) return false;
  unlink(from);
  return true;
}

}  // namespace VEXO::base
