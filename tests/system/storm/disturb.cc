#include "disturb.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <thread>

namespace storm {

using Clock = std::chrono::steady_clock;

namespace {

constexpr int kHighestPriority = -20;

}  // namespace

int Cores() {
  return static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
}

void Disturb(int core) {
  cpu_set_t cores;
  CPU_ZERO(&cores);
  CPU_SET(core, &cores);
  sched_setaffinity(0, sizeof cores, &cores);
  setpriority(PRIO_PROCESS, 0, kHighestPriority);
  prctl(PR_SET_TIMERSLACK, 1);  // nanosecond
  std::mt19937 random(static_cast<unsigned int>(getpid()));
  std::uniform_int_distribution<long> work(30, 180);  // microseconds
  std::uniform_int_distribution<long> rest(0, 60);
  for (;;) {
    const auto end = Clock::now() + std::chrono::microseconds(work(random));
    while (Clock::now() < end) {
    }
    const timespec pause = {0, 1000 * rest(random)};
    nanosleep(&pause, nullptr);
  }
}

}  // namespace storm
