#include "stop.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace web {
namespace {

volatile std::sig_atomic_t stopping = 0;

void Stop(int /*signal*/) { stopping = 1; }

int failing_output = -1;
int unwritable = -1;

void FailOutput(int /*signal*/) {
  const int reason = errno;
  stopping = 1;
  dup2(unwritable, failing_output);  // a write that begins later fails, too
  errno = reason;
}

}  // namespace

sigset_t StopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  return signals;
}

void BlockStopSignals(bool block) {
  const sigset_t signals = StopSignals();
  sigprocmask(block ? SIG_BLOCK : SIG_UNBLOCK, &signals, nullptr);
}

void CatchStopSignals() {
  struct sigaction action = {};
  action.sa_handler = Stop;  // without SA_RESTART
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
}

bool IsStopping() { return stopping != 0; }

void FailOutputOnStop(int output) {
  failing_output = output;
  unwritable = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (unwritable == -1) return;
  struct sigaction action = {};
  action.sa_handler = FailOutput;  // without SA_RESTART
  sigaction(SIGTERM, &action, nullptr);
}

bool HasReceiver(int output) {
  if (IsStopping()) return false;
  pollfd state = {output, 0, 0};  // these are reported without being asked for
  return poll(&state, 1, 0) < 1 || (state.revents & (POLLERR | POLLHUP)) == 0;
}

}  // namespace web
