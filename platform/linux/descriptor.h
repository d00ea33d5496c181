#pragma once

#include <unistd.h>

namespace VEXO::platform {

/// Owns a file descriptor; -1 means none.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { Reset(-1); }

  int get() const { return fd_; }
  /// Gives up ownership without closing.
  void Release() { fd_ = -1; }
  /// Closes the current descriptor and takes ownership of `fd`.
  void Reset(int fd) {
    if (fd_ != -1) close(fd_);
    fd_ = fd;
  }

 private:
  int fd_;
};

}  // namespace VEXO::platform
