#include "writers.h"

#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

/// What a process reports to its parent.
struct Report {
  long operations;
  double p99;
  double longest;
};

/// Of ten operations seven are checks, two are logins and one creates a link.
void RunOne(Backend& backend, long n, const Visit& visit) {
  const long kind = n % 10;
  if (kind < 7) {
    backend.Check(visit);
  } else if (kind < 9) {
    backend.LogIn(visit);
  } else {
    backend.Create();
  }
}

Report Write(const std::vector<Visit>& visits, int process, int processes,
             Clock::time_point start, Clock::time_point end) {
  const std::unique_ptr<Backend> backend = OpenBackend(true);
  if (Clock::now() > start) {
    std::fputs("the machine is too slow: the database is not open in time\n", stderr);
    _exit(1);
  }
  std::vector<double> waits;
  std::this_thread::sleep_until(start);
  long n = process;
  for (Clock::time_point begin = Clock::now(); begin < end;) {
    RunOne(*backend, static_cast<long>(waits.size()) + process,
           visits[n % visits.size()]);
    const Clock::time_point now = Clock::now();
    waits.push_back(Milliseconds(now - begin).count());
    begin = now;
    n += processes;
  }
  std::sort(waits.begin(), waits.end());
  return {static_cast<long>(waits.size()), waits[waits.size() * 99 / 100], waits.back()};
}

}  // namespace

bool RunWriters(const std::vector<Visit>& visits, int processes, double seconds) {
  auto* const reports = static_cast<Report*>(mmap(nullptr, processes * sizeof(Report),
                                                  PROT_READ | PROT_WRITE,
                                                  MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  if (reports == MAP_FAILED) return false;
  // All must have opened the database by then.
  const Clock::time_point start = Clock::now() + std::chrono::seconds(1);
  const auto end = start + std::chrono::duration_cast<Clock::duration>(
                               std::chrono::duration<double>(seconds));
  for (int process = 0; process < processes; ++process) {
    const pid_t child = fork();
    if (child == -1) return false;
    if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      reports[process] = Write(visits, process, processes, start, end);
      _exit(0);
    }
  }
  bool good = true;
  for (int status = 0; wait(&status) != -1;) good = good && status == 0;
  if (!good) return false;

  Report total = {};
  for (int process = 0; process < processes; ++process) {
    total.operations += reports[process].operations;
    total.p99 = std::max(total.p99, reports[process].p99);
    total.longest = std::max(total.longest, reports[process].longest);
  }
  std::printf(R"({"operations_per_second": %.1f, "longest_ms": %.3f, "p99_ms": %.3f})"
              "\n",
              static_cast<double>(total.operations) / seconds, total.longest, total.p99);
  return true;
}

}  // namespace bench
