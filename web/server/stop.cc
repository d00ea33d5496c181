#include "stop.h"

#include <csignal>

namespace web {
namespace {

volatile std::sig_atomic_t stopping = 0;

void Stop(int /*signal*/) { stopping = 1; }

}  // namespace

void CatchStopSignals() {
  struct sigaction action = {};
  action.sa_handler = Stop;  // without SA_RESTART
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
}

bool IsStopping() { return stopping != 0; }

}  // namespace web
