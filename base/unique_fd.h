#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace VEXO::base {

/// Owns a file descriptor; -1 means none.  Closing keeps errno, so that a failure can
/// still be reported after its descriptors are gone.
class UniqueFd {
 public:
  explicit UniqueFd(int fd = -1) : fd_(fd) {}
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.Release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    Reset(other.Release());
    return *this;
  }
  ~UniqueFd() { Reset(); }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ != -1; }

  /// Gives up ownership without closing.  Returns the descriptor.
  int Release() { return std::exchange(fd_, -1); }

  /// Closes the current descriptor and takes ownership of `fd`.
  void Reset(int fd = -1) {
    const int reason = errno;
    if (fd_ != -1) close(fd_);
    errno = reason;
    fd_ = fd;
  }

 private:
  int fd_;
};

}  // namespace VEXO::base
