#include "signal_watch.h"

namespace VEXO::platform {
namespace {

void HoldAll(sigset_t* before) {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, before);
}

void Restore(const sigset_t& mask) { pthread_sigmask(SIG_SETMASK, &mask, nullptr); }

bool EndsBlockingCall(int signal) {
  struct sigaction action;
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_DFL &&
         action.sa_handler != SIG_IGN && (action.sa_flags & SA_RESTART) == 0;
}

}  // namespace

SignalWatch::SignalWatch() { HoldAll(&before_); }

SignalWatch::~SignalWatch() { Restore(before_); }

bool SignalWatch::Interrupted() const {
  sigset_t pending;
  sigpending(&pending);
  bool others = false;
  for (int signal = 1; signal < NSIG; ++signal) {
    if (sigismember(&pending, signal) != 1 || sigismember(&before_, signal) == 1) {
      continue;
    }
    if (EndsBlockingCall(signal)) return true;
    others = true;
  }
  if (others) {
    Restore(before_);
    HoldAll(nullptr);
  }
  return false;
}

}  // namespace VEXO::platform
