#pragma once

#include <csignal>

namespace VEXO::base {

/// While it exists, holds back the signals that ask the thread's process to end.
class HoldSignals {
 public:
  HoldSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
  }
  ~HoldSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  HoldSignals(const HoldSignals&) = delete;
  HoldSignals& operator=(const HoldSignals&) = delete;

 private:
  sigset_t before_ = {};
};

}  // namespace VEXO::base
