#include "workers.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <set>

namespace web {
namespace {

constexpr timespec kPauseOfStart = {1, 0};
constexpr timespec kPauseOfStop = {0, 50L * 1000 * 1000};

/// The signals that the parent waits for: blocked, so that none comes too early.
class Signals {
 public:
  Signals() {
    sigemptyset(&stop_);
    sigaddset(&stop_, SIGTERM);
    sigaddset(&stop_, SIGINT);
    all_ = stop_;
    sigaddset(&all_, SIGCHLD);
    sigprocmask(SIG_BLOCK, &all_, &before_);
  }
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;
  ~Signals() { Restore(); }

  void Restore() const { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  /// Waits until a child has ended, or the process is to stop.  True for the latter.
  bool WaitForStop() const {
    const int signal = sigwaitinfo(&all_, nullptr);
    return signal == SIGTERM || signal == SIGINT;
  }
  /// The same for at most this time, and not for children.
  bool WaitForStop(const timespec& time) const {
    return sigtimedwait(&stop_, nullptr, &time) != -1;
  }

 private:
  sigset_t stop_;
  sigset_t all_;
  sigset_t before_;
};

/// Starts one worker.  -1, logged, when that fails.
pid_t Start(const std::function<int()>& work, const Signals& signals) {
  const pid_t parent = getpid();
  const pid_t worker = fork();
  if (worker == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    signals.Restore();
    _exit(getppid() == parent ? work() : EXIT_FAILURE);
  }
  if (worker == -1) syslog(LOG_ERR, "cannot start a worker: %m");
  return worker;
}

/// Forgets the workers that have ended.
void Reap(std::set<pid_t>* workers) {
  for (pid_t ended = 1; ended > 0;) {
    ended = waitpid(-1, nullptr, WNOHANG);
    workers->erase(ended);
  }
}

}  // namespace

void RunWorkers(int count, const std::function<int()>& work) {
  const Signals signals;
  std::set<pid_t> workers;
  for (bool stopping = false; !stopping;) {
    while (workers.size() < static_cast<size_t>(count)) {
      const pid_t worker = Start(work, signals);
      if (worker == -1) break;
      workers.insert(worker);
    }
    const bool all_run = workers.size() == static_cast<size_t>(count);
    // The pause is for workers that fail at once, or cannot be started.
    stopping = (all_run && signals.WaitForStop()) || signals.WaitForStop(kPauseOfStart);
    Reap(&workers);
  }
  // Again and again: a worker may have been about to wait when the signal came.
  while (!workers.empty()) {
    for (const pid_t worker : workers) kill(worker, SIGTERM);
    signals.WaitForStop(kPauseOfStop);
    Reap(&workers);
  }
}

}  // namespace web
