#include "new_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "database.h"
#include "file_descriptor.h"
#include "outcome.h"

namespace command {

namespace {

constexpr size_t kBufferBytes = 65536;

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

bool IsSameFile(const std::string& path, const std::string& other) {
  struct stat one = {};
  struct stat two = {};
  return lstat(path.c_str(), &one) == 0 && stat(other.c_str(), &two) == 0 &&
         one.st_dev == two.st_dev && one.st_ino == two.st_ino;
}

}  // namespace

NewFile::NewFile(std::string path, bool replace)
    : path_(std::move(path)), replace_(replace) {}

NewFile::~NewFile() {
  if (fd_ == -1) return;
  close(fd_);
  unlink(working_path_.c_str());  // gone already when it was published
}

bool NewFile::Make(const std::string& database) {
  if (!MayTakePlace(database)) return false;
  working_path_ = path_ + ".XXXXXX";
  fd_ = mkostemp(working_path_.data(), O_CLOEXEC);  // with mode 0600
  return fd_ != -1 || Failed(errno);
}

bool NewFile::MayTakePlace(const std::string& database) const {
  for (const char* const part : kDatabaseFiles) {
    if (IsSameFile(path_, database + part)) {
      Tell(path_ + " is the database itself: name another file");
      return false;
    }
  }
  struct stat there = {};
  if (lstat(path_.c_str(), &there) == -1) return errno == ENOENT || Failed(errno);
  if (!S_ISREG(there.st_mode)) {
    Tell(path_ + " is there and is no file");
    return false;
  }
  if (!replace_) Tell(path_ + " is there already: --force replaces it");
  return replace_;
}

bool NewFile::Append(const std::string& text) {
  buffer_ += text;
  return buffer_.size() < kBufferBytes || Write();
}

bool NewFile::Publish() {
  if (!Write()) return false;
  if (fsync(fd_) == -1 || !MoveIntoPlace()) return Failed(errno);
  return SyncFolder() || Failed(errno);
}

bool NewFile::Write() {
  size_t written = 0;
  while (written < buffer_.size()) {
    const ssize_t count = write(fd_, buffer_.data() + written, buffer_.size() - written);
    if (count == -1 && errno == EINTR) continue;
    if (count == -1) return Failed(errno);
    written += count;
  }
  buffer_.clear();
  return true;
}

bool NewFile::MoveIntoPlace() const {
  if (replace_) return rename(working_path_.c_str(), path_.c_str()) == 0;
  // A file that came up meanwhile stays.  Some file systems lack RENAME_NOREPLACE
  // (EINVAL), others hard links.
  if (renameat2(AT_FDCWD, working_path_.c_str(), AT_FDCWD, path_.c_str(),
                RENAME_NOREPLACE) == 0) {
    return true;
  }
  return errno == EINVAL && link(working_path_.c_str(), path_.c_str()) == 0;
}

bool NewFile::SyncFolder() const {
  const FileDescriptor folder(
      open(FolderOf(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.get() == -1) return false;
  return fsync(folder.get()) == 0 || errno == EINVAL;  // not all can
}

bool NewFile::Failed(int reason) const {
  Tell(path_ + " cannot be written: " + strerror(reason));
  return false;
}

}  // namespace command
