#include "output.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <iostream>

namespace command {

void OccupyStandardStreams() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) == -1) {
      // The lowest free number is fd itself.  The wrong direction is wanted.
      open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
  signal(SIGPIPE, SIG_IGN);
}

bool FlushOutput() {
  std::cout.flush();
  return std::cout.good();
}

Outcome CloseOutput(Outcome outcome) {
  if (FlushOutput() || outcome == kInterrupted) return outcome;
  return End(outcome == kDone ? kRefused : outcome,
             "standard output could not be written: what it got is not complete");
}

}  // namespace command
