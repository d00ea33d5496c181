#pragma once

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

namespace VEXO::base {

/// Opens /dev/null for each standard stream that is closed, so that no file opened later
/// takes its number; reading and writing there fails.  Ignores SIGPIPE: a reader that
/// leaves shows as a failed write.  False when standard output was closed.
inline bool OccupyStandardStreams() {
  signal(SIGPIPE, SIG_IGN);
  const bool output = fcntl(STDOUT_FILENO, F_GETFD) != -1;
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) == -1) {
      // The lowest free number is fd itself.  The wrong direction is intended: I/O fails.
      open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
  return output;
}

}  // namespace VEXO::base
