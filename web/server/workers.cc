#include "workers.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <set>

#include "stop.h"

namespace web {
namespace {

constexpr timespec kPauseOfStart = {1, 0};
constexpr size_t kMostWaiting = 64;
constexpr timespec kPauseOfStop = {0, 50L * 1000 * 1000};

/// The signals that the parent waits for: blocked, so that none comes too early.
class Signals {
 public:
  Signals() : all_(stop_) {
    sigaddset(&all_, SIGCHLD);
    sigaddset(&all_, SIGRTMIN);
    sigprocmask(SIG_BLOCK, &all_, &before_);
  }
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;
  ~Signals() { Restore(); }

  void Restore() const {
    sigprocmask(SIG_SETMASK, &before_, nullptr);
    BlockStopSignals(false);  // they may have been blocked since the start of the program
  }
  /// Waits until a worker has ended or waits itself, or the process is to stop.
  siginfo_t Wait() const {
    siginfo_t signal = {};
    sigwaitinfo(&all_, &signal);
    return signal;
  }
  /// Waits for at most this time.  True when the process is to stop.
  bool WaitForStop(const timespec& time) const {
    return sigtimedwait(&stop_, nullptr, &time) != -1;
  }

 private:
  const sigset_t stop_ = StopSignals();
  sigset_t all_;
  sigset_t before_;
};

/// The signal with which the parent tells a worker that it is replaced: blocked, because
/// it must not interrupt a request.
sigset_t AnswerOfParent() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGRTMIN);
  return signals;
}

/// Starts one worker.  -1, logged, when that fails.
pid_t Start(const std::function<int()>& work, const Signals& signals) {
  const pid_t parent = getpid();
  const pid_t worker = fork();
  if (worker == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    signals.Restore();
    const sigset_t answer = AnswerOfParent();
    sigprocmask(SIG_BLOCK, &answer, nullptr);
    _exit(getppid() == parent ? work() : EXIT_FAILURE);
  }
  if (worker == -1) syslog(LOG_ERR, "cannot start a worker: %m");
  return worker;
}

struct Workers {
  std::set<pid_t> serving;
  std::set<pid_t> waiting;  ///< replaced already; they end after their request

  /// Forgets those that have ended.
  void Reap() {
    for (pid_t ended = 1; ended > 0;) {
      ended = waitpid(-1, nullptr, WNOHANG);
      serving.erase(ended);
      waiting.erase(ended);
    }
  }
};

}  // namespace

void RunWorkers(int count, const std::function<int()>& work) {
  const Signals signals;
  Workers workers;
  for (bool stopping = false; !stopping;) {
    while (workers.serving.size() < static_cast<size_t>(count)) {
      const pid_t worker = Start(work, signals);
      if (worker == -1) break;
      workers.serving.insert(worker);
    }
    if (workers.serving.size() == static_cast<size_t>(count)) {
      const siginfo_t signal = signals.Wait();
      stopping = signal.si_signo == SIGTERM || signal.si_signo == SIGINT;
      if (signal.si_signo == SIGRTMIN && workers.waiting.size() < kMostWaiting &&
          workers.serving.erase(signal.si_pid) == 1) {
        workers.waiting.insert(signal.si_pid);
        kill(signal.si_pid, SIGRTMIN);
        continue;
      }
    }
    workers.Reap();
    // The pause is for workers that fail at once, or cannot be started.
    if (workers.serving.size() < static_cast<size_t>(count) && !stopping) {
      stopping = signals.WaitForStop(kPauseOfStart);
    }
  }
  // Again and again: a worker may have been about to wait when the signal came.
  workers.serving.merge(workers.waiting);
  while (!workers.serving.empty()) {
    for (const pid_t worker : workers.serving) kill(worker, SIGTERM);
    signals.WaitForStop(kPauseOfStop);
    workers.Reap();
  }
}

void AskForReplacement() { sigqueue(getppid(), SIGRTMIN, {}); }

bool IsReplaced() {
  const sigset_t answer = AnswerOfParent();
  const timespec now = {};
  return sigtimedwait(&answer, nullptr, &now) == SIGRTMIN;
}

}  // namespace web
