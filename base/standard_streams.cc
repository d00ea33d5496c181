#include "base/standard_streams.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

namespace VEXO::base {

bool OccupyStandardStreams() {
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
