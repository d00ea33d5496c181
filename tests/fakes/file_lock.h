#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <string>

namespace fakes {

/// A lock on one byte of a file, with its own open file description.
class FileLock {
 public:
  explicit FileLock(const std::string& path, short type = F_WRLCK, off_t byte = 0)
      : fd_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0660)) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_start = byte;
    lock.l_len = 1;
    taken_ = fcntl(fd_, F_OFD_SETLK, &lock) == 0;
  }
  ~FileLock() { Release(); }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  bool taken() const { return taken_; }
  /// Also for a process that was forked since.
  void Release() {
    if (fd_ == -1) return;
    struct flock none = {};
    none.l_type = F_UNLCK;
    fcntl(fd_, F_OFD_SETLK, &none);
    close(fd_);
    fd_ = -1;
  }

 private:
  int fd_;
  bool taken_;
};

/// Whether another open file description has a lock on the byte.
inline bool IsLocked(const std::string& path, off_t byte) {
  const int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_start = byte;
  lock.l_len = 1;
  const bool locked = fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
  close(fd);
  return locked;
}

}  // namespace fakes
