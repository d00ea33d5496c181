#include "cli/interrupt.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <ctime>

#include "cli/report.h"

namespace command {

namespace {

std::atomic<time_t> interrupted_at = 0;  // 0: not yet

void Note(int /*signal*/) {
  const time_t now = time(nullptr);
  if (interrupted_at == 0) {
    interrupted_at = now;
  } else if (now > interrupted_at) {  // and not the same one, sent to process and group
    _exit(kInterrupted);
  }
}

}  // namespace

void CatchInterrupt() {
  struct sigaction action = {};
  action.sa_handler = Note;  // without SA_RESTART: waiting for input ends
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  struct sigaction hangup = {};
  sigaction(SIGHUP, nullptr, &hangup);
  if (hangup.sa_handler == SIG_IGN) return;  // started by nohup
  sigaction(SIGHUP, &action, nullptr);
}

bool Interrupted() { return interrupted_at != 0; }

}  // namespace command
