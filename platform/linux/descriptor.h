#pragma once

#include <unistd.h>

namespace VEXO::platform {

/// Owns a file descriptor; -1 is none.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { Reset(-1); }

  int get() const { return fd_; }
  void Release() { fd_ = -1; }
  /// Closes the descriptor and owns `fd` from now on.
  void Reset(int fd) {
    if (fd_ != -1) close(fd_);
    fd_ = fd;
  }

 private:
  int fd_;
};

}  // namespace VEXO::platform
