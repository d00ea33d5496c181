#include "standard_streams.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

bool OccupyStandardStreams() {
  signal(SIGPIPE, SIG_IGN);
  const bool output = fcntl(STDOUT_FILENO, F_GETFD) != -1;
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) == -1) {
      open("/dev/null", O_RDWR);  // takes the lowest free number, which is fd itself
    }
  }
  return output;
}
