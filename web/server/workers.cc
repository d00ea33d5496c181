#include "workers.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <set>

#include "web/server/stop.h"

namespace web {
namespace {

constexpr useconds_t kPause = 50 * 1000;

/// Starts one worker.  -1, logged, when that fails.
pid_t Start(const std::function<int()>& work) {
  const pid_t parent = getpid();
  const pid_t worker = fork();
  if (worker == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    _exit(getppid() == parent ? work() : EXIT_FAILURE);
  }
  if (worker == -1) syslog(LOG_ERR, "cannot start a worker: %m");
  return worker;
}

}  // namespace

void RunWorkers(int count, const std::function<int()>& work) {
  CatchStopSignals();
  std::set<pid_t> workers;
  while (!IsStopping()) {
    while (workers.size() < static_cast<size_t>(count)) {
      const pid_t worker = Start(work);
      if (worker == -1) break;
      workers.insert(worker);
    }
    workers.erase(wait(nullptr));
    if (!IsStopping()) sleep(1);  // they may all fail at once
  }
  // Again and again: a worker may have been about to wait when the signal came.
  for (; !workers.empty(); usleep(kPause)) {
    for (const pid_t worker : workers) kill(worker, SIGTERM);
    for (pid_t ended = 1; ended > 0;)
      workers.erase(ended = waitpid(-1, nullptr, WNOHANG));
  }
}

}  // namespace web
