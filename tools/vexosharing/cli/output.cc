#include "cli/output.h"

#include <poll.h>
#include <unistd.h>

#include <iostream>

#include "cli/report.h"

namespace command {

namespace {

bool HasReaderLeft() {
  pollfd output = {STDOUT_FILENO, POLLOUT, 0};
  return poll(&output, 1, 0) == 1 && (output.revents & (POLLERR | POLLHUP)) != 0;
}

}  // namespace

bool FlushOutput() {
  std::cout.flush();
  return std::cout.good();
}

ExitCode CloseOutput(ExitCode exit_code) {
  if (FlushOutput() || exit_code == kInterrupted) return exit_code;
  if (HasReaderLeft()) return exit_code == kSuccess ? kReaderLeft : exit_code;
  return Fail(exit_code == kSuccess ? kRefused : exit_code,
              "cannot write to standard output: the output is incomplete");
}

}  // namespace command
